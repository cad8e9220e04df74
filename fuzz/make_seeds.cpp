// Writes small well-formed files as first inputs for the fuzz targets: make_seeds FOLDER
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;

void write(const std::filesystem::path& file, const Bytes& bytes) {
  std::ofstream stream(file, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

Bytes itemList() {
  return metaWith(ilstText("\xA9nam", "A song"),
                  ilstText("\xA9"
                           "ART",
                           "One"),
                  box("trkn", box("data", full(0), u32(0), u16(0), u16(3), u16(12), u16(0))),
                  box("tmpo", box("data", full(0), u32(0), u16(120))),
                  box("gnre", box("data", full(0), u32(0), u16(17))),
                  box("covr", box("data", full(0), u32(0), repeat(0xff, 20))),
                  box("----", box("mean", full(0), text("com.example")),
                      box("name", full(0), text("replaygain_track_gain")),
                      box("data", full(0), u32(0), text("-6.54 dB"))));
}

Bytes taggingBox() {
  return ztTags(ztFields({{"title", {"All"}}, {"artist", {"One", "Two"}}}),
                ztSegment(1, {{"title", {"Second"}}}), box("covr", repeat(0x11, 20)));
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return 1;
  const std::filesystem::path folder = arguments[1];
  std::filesystem::create_directories(folder);
  const Bytes marks = chpl({{0, "One"}, {2'000'000, "Two"}, {4'000'000, ""}});

  write(folder / "song", movieFile({.tracks = {aacTrack()}, .udta = itemList()}).bytes);
  write(folder / "album", movieFile({.tracks = {aacTrack({.samples = 60})},
                                     .udta = join(marks, taggingBox(), itemList())})
                              .bytes);
  write(folder / "film", movieFile({.tracks = {avcTrack(), aacTrack()}, .udta = marks}).bytes);
  write(folder / "film-media-first",
        movieFile({.tracks = {mpeg4Track(), aacTrack()}, .order = BoxOrder::mediaFirst}).bytes);
  MediaTrack late = avcTrack({.samples = 9});
  late.boxes.ctts = ctts({{4, 2000}, {3, -1000}, {2, 0}});
  write(folder / "composition-offsets", movieFile({.tracks = {late}}).bytes);
  MediaTrack lossless = aacTrack();
  lossless.boxes.stsd = stsd(alac(), otherEntry());
  write(folder / "lossless", movieFile({.tracks = {lossless}}).bytes);
  write(folder / "no-media", join(ftyp(), moov({.tracks = {trak()}})));
  write(folder / "text",
        text("-1,5e3 \xE2\x82\xAC \xF0\x9F\x98\x80 *.mp4;a?c C:\\dir\\name.ext?x"));
  return 0;
}
