#include "inspect/advice.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "cli/text.h"
#include "inspect/box_catalog.h"

namespace inspect {
namespace {

constexpr char kRewrite[] =
    "Another program may still read it: \"ffmpeg -i IN -c copy OUT.mp4\" writes it anew.";
constexpr char kNoMovie[] =
    "There is no movie box and no media data: this is no MP4 file, or only its beginning.";
constexpr char kFetchAgain[] = "Fetch or copy the file again.";

struct Rule {
  const char* message;
  const char* meaning;
  const char* remedy;
};

/// The rules whose meaning does not depend on the file.
constexpr Rule kRules[] = {
    {"duplicate moov atom", "The file has two movie boxes. It may be two files in one.",
     "Cut the file in two where the second 'ftyp' begins; tree shows it."},
    {"invalid avcC chunk (1)",
     "The six bits before the NAL length size in an H.264 configuration must all be 1.", kRewrite},
    {"invalid avcC chunk (2)",
     "The three bits before the count of sequence parameter sets must all be 1.", kRewrite},
    {"invalid esds atom (1)",
     "The first descriptor of 'esds' says that it is shorter than its fields.", kRewrite},
    {"invalid esds atom (2)",
     "The decoder's descriptor does not stand where 'esds' must have it. Optional fields before "
     "it, "
     "which its flags may announce, are not supported.",
     kRewrite},
    {"invalid esds atom (3)",
     "The decoder's descriptor in 'esds' says that it is shorter than its fields.", kRewrite},
    {"esds atom not expected here", "An 'esds' box in an audio entry must be in 'mp4a'.", kRewrite},
    {"esds not expected here", "An 'esds' box in a video entry must be in 'mp4v'.", kRewrite},
    {"alac atom not expected here", "An 'alac' box must be in an entry of that type.", kRewrite},
    {"avcC not expected here", "An 'avcC' box must be in an entry 'avc1'.", kRewrite},
    {"ALAC decoder setup too big", "The decoder's setup says that it has 4 GiB or more.", kRewrite},
    {"invalid stsd atom", "The sample descriptions end before their count.", kRewrite},
    {"duplicate stts data", "A track has two tables of decoding times.", kRewrite},
    {"duplicate ctts data", "A track has two tables of composition offsets.", kRewrite},
    {"invalid stss data",
     "The numbers of sync samples must begin with 1 or more, and each must be greater than the one "
     "before.",
     kRewrite},
    {"invalid chapter count", "A chapter list may have 1024 chapters at most.",
     "Write the file with fewer chapters."},
    {"the audio track has a sample rate of 0",
     "The audio entry tells no sample rate; packets can't be timed without one.", kRewrite},
    {"the audio track has no channels", "The audio entry tells no channels.", kRewrite},
};

/// The outermost box around the place that has lost bytes; null when none has.
const Box* cutBox(const BoxChain& chain) {
  const Box* cut = nullptr;
  for (const Box* box = chain.deepest(); box; box = box->parent) {
    if (box->isCutShort()) cut = box;
  }
  return cut;
}

Advice pastFile(const Refusal& refusal, const File& file, const MovieMap& map) {
  const Box* const cut = cutBox(refusal.box);
  if (!cut) return {"The file ends in the middle of a box.", kFetchAgain};
  // Four letters are easily taken for the type of a box.
  if (!boxName(*cut) && map.movieBoxes == 0) return {kNoMovie, kFetchAgain};
  Advice advice;
  advice.meaning = fmt::format(
      "The file is cut short: {} at {} declares {} bytes, but the file has {} from there.",
      pathText(*cut), cut->offset, cut->declaredSize, file.size() - cut->offset);
  advice.remedy = kFetchAgain;
  if (cut->type == fourCC("mdat")) {
    advice.remedy +=
        " What has arrived can often be saved: \"ffmpeg -i IN -c copy OUT.mp4\" keeps it.";
  } else if (cut->type == fourCC("free") || cut->type == fourCC("skip")) {
    advice.remedy = std::string("Only unused space is missing. ") + kRewrite;
  }
  return advice;
}

Advice pastAtom(const Refusal& refusal) {
  const Box* const box = refusal.box.deepest();
  if (!box) return {"A box ends before its contents do.", kRewrite};
  return {
      fmt::format("{} has {} bytes, which end before the fields or the entries that it must have.",
                  pathText(*box), box->end - box->offset),
      kRewrite};
}

Advice tooBig(const Refusal& refusal) {
  const Box* const box = refusal.box.deepest();
  if (!box || !box->parent)
    return {"A box declares more bytes than the box around it has.", kRewrite};
  return {fmt::format("{} declares {} bytes, but {} has {} left.", pathText(*box),
                      box->declaredSize, pathText(*box->parent), box->parent->end - box->offset),
          kRewrite};
}

Advice badHeader(const Refusal& refusal) {
  const Box* const box = refusal.box.deepest();
  if (!box) {
    return {"A box of the top level has a size that is smaller than its header.", kRewrite};
  }
  if (box->isOpenEnded()) {
    return {
        fmt::format("{} has size 0, which means up to the end of the file; the plug-in needs the "
                    "size of every box.",
                    pathText(*box)),
        kRewrite};
  }
  return {
      fmt::format("In {} stands something that is no box: its size is smaller than a header, its "
                  "type has control characters, or too few bytes are left.",
                  pathText(*box)),
      kRewrite};
}

Advice noMovieHeader(const MovieMap& map) {
  if (map.movieBoxes == 0) {
    if (map.fragments != 0) {
      return {fmt::format("There is no movie box, only {} of a movie whose beginning is elsewhere.",
                          cli::counted(map.fragments, "fragment")),
              "Join the fragments to their initialisation segment, then write the result anew."};
    }
    if (map.mediaData.empty()) {
      return {
          "There is no movie box and no media data: this is no MP4 file, or only its beginning.",
          kFetchAgain};
    }
    return {
        "There is media data, but no movie box, which tells what is in it. A recording that was "
        "not finished, or a download that was cut, looks like this.",
        kFetchAgain};
  }
  if (!map.hasHeader) return {"The movie box has no movie header.", kRewrite};
  if (map.fragments != 0) {
    return {fmt::format("The movie header has no duration: the movie is in {}, which are not "
                        "supported.",
                        cli::counted(map.fragments, "fragment")),
            "\"ffmpeg -i IN -c copy OUT.mp4\" joins the fragments."};
  }
  return {fmt::format("The movie header has a timescale of {} and a duration of {}; both must be "
                      "more than 0.",
                      map.timescale, map.duration),
          kRewrite};
}

Advice noTrack(const MovieMap& map) {
  if (map.tracks.empty()) {
    return {"The movie has no tracks.",
            map.fragments != 0 ? "\"ffmpeg -i IN -c copy OUT.mp4\" joins the fragments."
                               : "There is nothing to play."};
  }
  constexpr size_t kMostNamed = 8;
  std::string tracks;
  for (size_t i = 0; i < std::min(map.tracks.size(), kMostNamed); ++i) {
    if (i > 0) tracks += ", ";
    tracks += fmt::format("track {}: {}", i, unplayableKind(map.tracks[i]));
  }
  if (map.tracks.size() > kMostNamed) {
    tracks += fmt::format(" and {} more", map.tracks.size() - kMostNamed);
  }
  return {"AAC, MP3, MPEG-4 Visual and H.264 ('avc1') are played. The file has " + tracks + ".",
          "Convert it: \"ffmpeg -i IN OUT.mp4\" for a film, \"ffmpeg -i IN OUT.m4a\" for sound."};
}

}  // namespace

std::string unplayableKind(const TrackMap& track) {
  if (track.entries.empty()) return "no sample description";
  const SampleEntry& entry = track.entries.back();
  switch (entry.type) {
    case fourCC("mp4a"):
    case fourCC("mp4v"):
      if (entry.objectType == 0)
        return typeText(entry.type) + " without an 'esds' as its first box";
      return fmt::format("{} of object type 0x{:02x}", typeText(entry.type), entry.objectType);
    case fourCC("enca"):
    case fourCC("encv"):
      return typeText(entry.type) + ", encrypted";
    default:
      return typeText(entry.type);
  }
}

Advice adviceFor(const Refusal& refusal, const File& file, const MovieMap& map) {
  if (file.size() == 0) return {"The file is empty.", kFetchAgain};
  const std::string& message = refusal.message;
  const auto* const rule = std::find_if(std::begin(kRules), std::end(kRules),
                                        [&](const Rule& row) { return message == row.message; });
  if (rule != std::end(kRules)) return {rule->meaning, rule->remedy};
  if (message.ends_with("past end of file")) return pastFile(refusal, file, map);
  if (message.ends_with("past end of atom")) return pastAtom(refusal);
  if (message == "atom size bigger than expected") return tooBig(refusal);
  if (message == "invalid box/atom header") return badHeader(refusal);
  if (message == "invalid or missing mvhd data") return noMovieHeader(map);
  if (message == "no track that can be played") return noTrack(map);
  if (message.starts_with("out of memory")) {
    return {"The file, or a table in it, claims more than there is memory for.", kRewrite};
  }
  return {"", kRewrite};
}

}  // namespace inspect
