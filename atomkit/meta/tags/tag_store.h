// TagStore: an ordered list of named text tags, each with one or more values.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/owned_string.h"
#include "atomkit/core/containers/shared.h"
#include "atomkit/meta/tags/tag_layer.h"

namespace atomkit {

/// Anything that lists tags. Every operation throws exception "array access out of range" for an
/// index that isn't below its count.
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
/// Values are shared, never changed. Names and values that are handed out last until the store
/// changes.
///
/// Copies of a store share its entries until they change them: a file may hold some ten thousand
/// tags and a thousand chapters, each of which begins as a copy of the file's tags. Reading a store
/// costs a step an entry (logarithmic where a copy has changed some), find() the logarithm of the
/// count.
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

  /// @return the first entry of that name, or kNoTag
  uint32_t find(const char* name) const noexcept;

  /// Gives the entry `value` as its only value, and `flag`; appends the entry if there is none of
  /// that name.
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

  /// Takes every entry of `source`: one whose name is absent is appended; one that is present takes
  /// the source's values and flag in place of its own.
  /// @throws exception (out of memory), leaving some of the entries taken
  void merge(const TagSource& source);

  void clear() noexcept;

 private:
  uint32_t inheritedCount() const noexcept { return base_ ? base_->count() : 0; }
  const Handle<TagEntry>& entryAt(uint32_t index) const;
  TagEntry& changeable(uint32_t index);
  Handle<TagEntry>& ownPlace(uint32_t index);
  void gather() const;
  void share() const;

  // The entries are those of base_ followed by those of added_. base_ never changes, as copies of
  // this store may hold it too; an entry of it that this store has changed stands in replaced_,
  // under the same name. gather() and share() move entries between the three without changing what
  // a caller sees, also in a store that is only copied from.
  mutable Handle<TagLayer> base_;
  mutable TagLayer replaced_;
  mutable TagLayer added_;
};

/// The text as a value of its own. @throws exception "out of memory"
SharedString makeSharedString(const char* text);

}  // namespace atomkit
