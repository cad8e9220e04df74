#include "inspect/box_marks.h"

#include <fmt/format.h>

#include "inspect/box_catalog.h"

namespace inspect {
namespace {

bool isWithin(const Box* box, FourCC type) {
  for (; box; box = box->parent) {
    if (box->type == type) return true;
  }
  return false;
}

/// What a broken list of boxes inside `parent` costs.
std::string costIn(const Box& parent) {
  if (!isRead(parent) || parent.isIn(fourCC("stsd"))) return "of no account";
  if (isWithin(&parent, fourCC("meta")) || isWithin(&parent, fourCC("tags"))) {
    return "the tags around it are dropped for it";
  }
  return "the file is refused for it";
}

std::string costOf(const NoBox& noBox) {
  if (noBox.parent) return costIn(*noBox.parent);
  return noBox.reason == NoBox::Reason::badSize ? "the file is refused for it"
                                                : "the plug-in looks no further";
}

}  // namespace

std::vector<std::string> BoxMarks::of(const Box& box, bool isShort) {
  if (box.type == fourCC("trak")) track_ = Kind::unseen;
  const bool read = isRead(box);
  if (box.isIn(fourCC("stsd"))) {
    if (read) {
      track_ = Kind::playable;
    } else if (track_ == Kind::unseen) {
      track_ = Kind::other;
    }
  }
  std::vector<std::string> marks;
  const bool known = boxName(box) != nullptr;
  const bool parentRead = !box.parent || isRead(*box.parent);
  if (!known) marks.push_back("unknown");
  if (read && box.isIn(fourCC("stbl")) && box.type != fourCC("stsd") && track_ == Kind::other) {
    marks.push_back("ignored: the plug-in plays no such track");
  } else if (known && !read && parentRead) {
    marks.push_back("ignored");
  }
  if (const char* const effect = effectOfDuplicate(box)) {
    marks.push_back(std::string("duplicate: ") + effect);
  }
  if (box.isCutShort()) {
    marks.push_back(fmt::format("cut short: declares {} bytes, {} are left", box.declaredSize,
                                box.end - box.offset));
  } else if (isShort) {
    marks.push_back("cut short: ends before its last field");
  }
  if (box.isOpenEnded()) {
    marks.push_back(parentRead ? "open: of size 0, for which the file is refused"
                               : "open: of size 0");
  }
  return marks;
}

std::string BoxMarks::of(const NoBox& noBox) {
  const uint64_t bytes = noBox.end - noBox.offset;
  std::string what;
  switch (noBox.reason) {
    case NoBox::Reason::tooShort:
      what = fmt::format("{} bytes, too few for a box", bytes);
      break;
    case NoBox::Reason::badType:
      what = fmt::format("{} bytes that are no box: no type", bytes);
      break;
    case NoBox::Reason::badSize:
      what = fmt::format("{} bytes that are no box: size {}", bytes, noBox.declaredSize);
      break;
    case NoBox::Reason::zeroBytes:
      what = fmt::format("{} zero bytes", bytes);
      break;
    case NoBox::Reason::tooDeep:
      return fmt::format("{} bytes in boxes nested too deep, which are not shown", bytes);
  }
  return what + "; " + costOf(noBox);
}

}  // namespace inspect
