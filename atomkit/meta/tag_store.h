// TagStore: an ordered list of named text tags, each with one or more values.
#pragma once
#include <cstdint>

#include "atomkit/core/object_array.h"
#include "atomkit/core/owned_string.h"

namespace atomkit {

/// Whether a tag takes further values when its item repeats.  // ABI: do not renumber
enum class TagFlag : uint8_t { single = 0, extensible = 1 };

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
/// Values are shared, never changed.
class TagStore final : public TagSource {
 public:
  uint32_t entryCount() const override;
  const char* entryName(uint32_t entry) const override;
  uint32_t valueCount(uint32_t entry) const override;
  const SharedString& value(uint32_t entry, uint32_t index) const override;
  TagFlag flag(uint32_t entry) const override;

  /// @return the first entry of that name, or kNoTag
  uint32_t find(const char* name) const noexcept;
  static constexpr uint32_t kNoTag = 0xffffffff;

  /// Gives the entry `value` as its only value, appending the entry if there is none of that name.
  /// @throws exception (out of memory)
  void set(const char* name, SharedString value, TagFlag flag);

  /// Adds a value to an entry. @throws exception (index; out of memory)
  void addValue(uint32_t entry, SharedString value);

  /// Appends an entry without values, whether or not the name exists. @return its index
  uint32_t append(const char* name, TagFlag flag);

  /// Becomes a copy of `source`; the values are shared.
  void copyFrom(const TagSource& source);

  /// Takes every entry of `source`: one whose name is absent is appended; one that is present takes
  /// the source's values and flag in place of its own.
  void merge(const TagSource& source);

  void clear() noexcept;

 private:
  struct Entry {
    OwnedString name;
    ObjectArray<SharedString> values;
    TagFlag flag = TagFlag::single;
  };

  ObjectArray<Handle<Entry>> entries_;
};

/// The text as a value of its own. @throws exception "out of memory"
SharedString makeSharedString(const char* text);

}  // namespace atomkit
