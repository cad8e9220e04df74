#include "atomkit/meta/tags/item_list.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/value_readers.h"
#include "atomkit/meta/tags/cover_art.h"
#include "atomkit/meta/tags/tag_item.h"

namespace atomkit {
namespace {

constexpr uint32_t kVersionAndFlagsBytes = 4;

// The items of 'ilst'.
class ItemListBoxHandler final : public BoxHandler {
 public:
  ItemListBoxHandler(ParseOptions options, ItemListTags& target)
      : options_(options), target_(&target) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override {
    if (type == fourCC("covr")) {
      if (options_ & kWantCoverArt) readCoverArt(target_->cover, reader, payloadSize);
    } else if (options_ & kWantTextTags) {
      readTagItem(target_->tags, type, reader, payloadSize);
    }
  }

 private:
  ParseOptions options_;
  ItemListTags* target_;
};

// The children of 'meta'.
class MetadataBoxHandler final : public BoxHandler {
 public:
  explicit MetadataBoxHandler(ItemListBoxHandler& items) : items_(&items) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override {
    if (type == fourCC("ilst")) walkChildren(*items_, reader, payloadSize);
  }

 private:
  ItemListBoxHandler* items_;
};

}  // namespace

// 'meta' MetaBox
//   u8 version, u24 flags (both ignored), 'ilst' (items); others ('hdlr' among them) are skipped
void readMetadataContents(ParseOptions options, ItemListTags& target, AtomReader& reader,
                          uint64_t payloadSize) {
  skipVersionAndFlags(reader);
  ItemListBoxHandler items(options, target);
  MetadataBoxHandler handler(items);
  walkChildren(handler, reader, payloadSize - kVersionAndFlagsBytes);
}

// DELIBERATE D-347: whatever goes wrong inside discards all text tags but not the cover, so that a
// cover that is too big costs the text tags, while an earlier picture stays.
// DELIBERATE D-348: the first 'meta' that can be read counts, even if it holds no tags; after a
// broken one the next is read.
void readMetadata(ParseOptions options, ItemListTags& target, AtomReader& reader,
                  uint64_t payloadSize) {
  if (!(options & (kWantTextTags | kWantCoverArt)) || target.seen) return;
  target.seen = true;
  try {
    readMetadataContents(options, target, reader, payloadSize);
  } catch (const exception&) {
    target.tags.clear();
    target.seen = false;
  }
}

}  // namespace atomkit
