#include "inspect/picture.h"

#include <algorithm>

#include "inspect/box_walker.h"

namespace inspect {
namespace {

struct Signature {
  std::string_view bytes;
  size_t position;
  PictureKind kind;
};

using namespace std::string_view_literals;

constexpr Signature kSignatures[] = {
    {"\xff\xd8\xff"sv, 0, {"JPEG", "jpg", "image/jpeg"}},
    {"\x89PNG\r\n\x1a\n"sv, 0, {"PNG", "png", "image/png"}},
    {"GIF87a"sv, 0, {"GIF", "gif", "image/gif"}},
    {"GIF89a"sv, 0, {"GIF", "gif", "image/gif"}},
    {"WEBP"sv, 8, {"WebP", "webp", "image/webp"}},
    {"ftypavif"sv, 4, {"AVIF", "avif", "image/avif"}},
    {"ftypheic"sv, 4, {"HEIC", "heic", "image/heic"}},
    {"BM"sv, 0, {"BMP", "bmp", "image/bmp"}},
    {"II*\0"sv, 0, {"TIFF", "tif", "image/tiff"}},
    {"MM\0*"sv, 0, {"TIFF", "tif", "image/tiff"}},
};

constexpr PictureKind kUnknownKind{"unknown", "bin", "application/octet-stream"};

constexpr uint64_t kDataHeaderBytes = 8;  // version, flags and locale of a 'data' box
constexpr size_t kBytesThatTell = 16;

class PictureVisitor final : public BoxVisitor {
 public:
  explicit PictureVisitor(File& file) : file_(file) {}

  Go enter(const Box& box) override {
    if (box.type == fourCC("data") && box.isIn(fourCC("covr"))) {
      add(box, kDataHeaderBytes, false);
    } else if (box.type == fourCC("covr") && box.isIn(fourCC("tags"))) {
      add(box, 0, true);
    }
    return box.type == fourCC("mdat") ? Go::past : Go::into;
  }

  std::vector<Picture> pictures;

 private:
  void add(const Box& box, uint64_t header, bool isInTaggingBox) {
    if (box.payloadSize() <= header) return;
    Picture picture;
    picture.path = pathText(box);
    picture.offset = box.payload() + header;
    picture.size = box.end - picture.offset;
    picture.isInTaggingBox = isInTaggingBox;
    picture.isCutShort = box.isCutShort();
    char start[kBytesThatTell];
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(sizeof start, picture.size));
    picture.kind = pictureKind({start, file_.read(picture.offset, start, wanted)});
    pictures.push_back(std::move(picture));
  }

  File& file_;
};

}  // namespace

const PictureKind& pictureKind(std::string_view start) {
  for (const Signature& signature : kSignatures) {
    if (start.size() >= signature.position &&
        start.substr(signature.position).starts_with(signature.bytes)) {
      return signature.kind;
    }
  }
  return kUnknownKind;
}

std::vector<Picture> findPictures(File& file) {
  PictureVisitor visitor(file);
  walkBoxes(file, visitor);
  return std::move(visitor.pictures);
}

}  // namespace inspect
