#include "inspect/raw_chapters.h"

#include "inspect/box_walker.h"
#include "inspect/payload.h"

namespace inspect {
namespace {

class ChapterVisitor final : public BoxVisitor {
 public:
  explicit ChapterVisitor(File& file) : file_(file) {}

  Go enter(const Box& box) override {
    if (box.type == fourCC("chpl") && box.isIn(fourCC("udta"))) readList(box);
    return box.type == fourCC("mdat") ? Go::past : Go::into;
  }

  std::vector<RawChapterList> lists;

 private:
  // 'chpl': u8 version, u24 flags, u8 reserved, u32 count,
  //   count x { u32 or, in version 1, u64 start (100 ns), u8 title_length, u8 title[] }
  void readList(const Box& box) {
    RawChapterList list;
    list.path = pathText(box);
    list.offset = box.offset;
    Payload payload(file_, box.payload(), box.end);
    const uint8_t version = payload.u8();
    list.version = version;
    payload.skip(4);
    const uint32_t count = payload.u32();
    for (uint32_t i = 0; i < count; ++i) {
      RawChapter chapter;
      chapter.start = payload.word(version);
      chapter.title = payload.bytes(payload.u8());
      if (payload.isShort()) {
        list.isCutShort = true;
        break;
      }
      list.chapters.push_back(std::move(chapter));
    }
    // The library passes over versions that it doesn't know, and lists elsewhere.
    list.isReadByLibrary = version <= 1 && count != 0 && box.parent->isIn(fourCC("moov"));
    lists.push_back(std::move(list));
  }

  File& file_;
};

}  // namespace

std::vector<RawChapterList> readRawChapters(File& file) {
  ChapterVisitor visitor(file);
  walkBoxes(file, visitor);
  return std::move(visitor.lists);
}

}  // namespace inspect
