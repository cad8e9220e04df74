// TagStore: an ordered list of named text tags, each with one or more values.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/owned_string.h"
#include "atomkit/core/containers/shared.h"
#include "atomkit/meta/tags/tag_layer.h"

namespace atomkit {

/// Anything that lists tags. Every operation throws exception "array access out of range" for an
/// index that is not below the count.
class TagSource {
 public:
  virtual uint32_t entryCount() const = 0;                                      ///< slot 0
  virtual const char* entryName(uint32_t entry) const = 0;                      ///< slot 1
  virtual uint32_t valueCount(uint32_t entry) const = 0;                        ///< slot 2
  virtual const SharedString& value(uint32_t entry, uint32_t index) const = 0;  ///< slot 3
  virtual TagFlag flag(uint32_t entry) const = 0;                               ///< slot 4

 protected:
  ~TagSource() = default;
};

/// Names and values are bytes in the file's encoding. Names compare without regard to ASCII case.
/// Values are shared and never change. What the store hands out lasts until the store changes.
///
/// Copies of a store share its entries until they change them: a file may hold tens of thousands of
/// tags and a thousand chapters, each of which begins as a copy of the file's tags. Reading an
/// entry takes constant time (logarithmic in a copy that has changed entries), find() logarithmic
/// time.
class TagStore final : public TagSource {
 public:
  TagStore() noexcept = default;
  TagStore(const TagStore&) = delete;
  TagStore& operator=(const TagStore&) = delete;

  static constexpr uint32_t kNoTag = atomkit::kNoTag;

  uint32_t entryCount() const override;
  const char* entryName(uint32_t entry) const override;
  uint32_t valueCount(uint32_t entry) const override;
  const SharedString& value(uint32_t entry, uint32_t index) const override;
  TagFlag flag(uint32_t entry) const override;

  /// Name, values and flag of an entry, for a caller that wants more than one of them: in a copy
  /// that has changed entries each operation above looks the entry up by its name.
  /// @throws exception "array access out of range"
  const TagField& entry(uint32_t entry) const { return *entryAt(entry); }

  /// @return the first entry of that name, or kNoTag
  uint32_t find(const char* name) const noexcept;

  /// Gives the first entry of that name `value` as its only value, and `flag`; appends an entry if
  /// there is none.
  /// @throws exception (out of memory), leaving names, values and flags as they were
  void set(const char* name, SharedString value, TagFlag flag);

  /// Adds a value to an entry. @throws exception (index; out of memory)
  void addValue(uint32_t entry, SharedString value);

  /// Appends an entry without values, whether or not the name exists. @return its index
  /// @throws exception (out of memory)
  uint32_t append(const char* name, TagFlag flag);

  /// Becomes a copy of `source`; the values are shared.
  /// @throws exception (out of memory), leaving the store as it was
  void copyFrom(const TagSource& source);
  /// The same; the entries too are shared until one side changes them. Cost: constant when `source`
  /// has not changed since it was last copied.
  void copyFrom(const TagStore& source);

  /// Takes the entries of `source` one by one. Where the name is there, the entry of this store
  /// gets the values and the flag of the source's in place of its own; otherwise a copy is
  /// appended.
  /// @throws exception (out of memory), with some of the entries taken
  void merge(const TagSource& source);

  void clear() noexcept;

 private:
  uint32_t inheritedCount() const noexcept { return base_ ? base_->count() : 0; }
  const Handle<TagField>& entryAt(uint32_t index) const;
  TagField& changeable(uint32_t index);
  Handle<TagField>& ownPlace(uint32_t index);
  void gather() const;
  void share() const;

  // The entries are those of base_ followed by those of added_. base_ never changes, as copies of
  // this store may hold it too; an entry of it that this store has changed is found in replaced_,
  // under the same name. gather() and share() move entries between the three, even in a store that
  // is only copied from; no caller sees a difference.
  mutable Handle<TagLayer> base_;
  mutable TagLayer replaced_;
  mutable TagLayer added_;
};

}  // namespace atomkit
