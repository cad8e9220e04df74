// Small files that hold every box that the library reads, for tests that let each step of an
// opening fail in turn.
#pragma once
#include <string>

#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace boxes {

/// Every kind of item, and boxes that are skipped, some longer than a plain skip is.
inline Bytes richItemList() {
  return box("meta", full(0), box("hdlr", full(0), zeros(20), u8(0)), box("free", zeros(300)),
             box("ilst", ilstText(itemType("nam"), "Song"), ilstText(itemType("ART"), "First"),
                 ilstText(itemType("ART"), "Second"), box("cpil", data(u8(1), 21)),
                 numberPair("trkn", 3, 12), numberPair("disk", 1, 2), gnre(9), tmpo(120),
                 ilstNamed("mood", "calm"), ilstText("desc", "dropped"), covr(zeros(300))),
             box("free", zeros(3)));
}

/// Fields, segments and a cover, and what is skipped among them.
inline Bytes richTaggingBox() {
  return ztTags(ztFields({{"album", {"Box"}}, {"skipped", {"a", ""}, 2}, {"artist", {"A", "B"}}}),
                box("free", zeros(300)),
                tseg(box("free", zeros(3)), tshd(1), ztFields({{"mood", {"calm"}, 0}})),
                box("covr", zeros(300)), tseg(ztFields({{"title", {"One"}}}), tshd(0)));
}

/// Audio of two kinds, video of two kinds, and a track that the library does not know; all tables,
/// both tag formats and chapters.
inline Bytes richFilm(BoxOrder order = BoxOrder::movieFirst) {
  MediaTrack audio = aacTrack({.samples = 3});
  audio.boxes.ctts = ctts({{1, 100}});
  MediaTrack lossless = aacTrack({.samples = 2});
  lossless.boxes.stsd = stsd(alac());
  lossless.boxes.stsz = stszConstant(25, 2);
  MediaTrack video = avcTrack({.samples = 4, .syncEvery = 2});
  video.boxes.mdhd = mdhdLong({.timescale = 25000, .duration = 4000, .versionAndFlags = u32(1)});
  video.boxes.ctts = ctts({{3, 1000}, {1, 0}});
  video.boxes.stco = co64({uint64_t{1} << 32, uint64_t{2} << 32});
  MediaTrack text = aacTrack({.samples = 1});
  text.boxes.stsd = stsd(otherEntry());
  return movieFile({.tracks = {audio, video, lossless, mpeg4Track({.samples = 2}), text},
                    .udta = join(richTaggingBox(), richItemList(), box("name", zeros(300)),
                                 chpl({{0, "One"}, {5, "Two"}, {9, ""}})),
                    .order = order})
      .bytes;
}

/// One audio track after the media data, chapters with 32-bit starts, an item list and fields of
/// chapters.
inline Bytes richAudioBook() {
  const Bytes chapters =
      box("chpl", u8(0), zeros(4), u32(2), u32(0), u8(3), text("One"), u32(5), u8(0));
  return join(movieFile({.tracks = {aacTrack({.samples = 4})},
                         .udta = join(chapters, richItemList(), richTaggingBox()),
                         .order = BoxOrder::mediaFirst})
                  .bytes,
              box("free", zeros(300)));
}

}  // namespace boxes
