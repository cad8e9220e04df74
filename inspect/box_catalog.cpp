#include "inspect/box_catalog.h"

#include <algorithm>
#include <iterator>

#include "atomkit/meta/tags/tag_names.h"

namespace inspect {
namespace {

struct Named {
  FourCC type;
  const char* name;
};

template <size_t kCount>
bool isAmong(FourCC type, const FourCC (&types)[kCount]) {
  return std::find(std::begin(types), std::end(types), type) != std::end(types);
}

constexpr FourCC kPlainContainers[] = {
    fourCC("moov"), fourCC("trak"), fourCC("edts"), fourCC("mdia"), fourCC("minf"), fourCC("dinf"),
    fourCC("stbl"), fourCC("udta"), fourCC("mvex"), fourCC("moof"), fourCC("traf"), fourCC("mfra"),
    fourCC("tref"), fourCC("sinf"), fourCC("schi"), fourCC("gmhd"), fourCC("wave"), fourCC("ilst"),
    fourCC("tags"), fourCC("tseg"), fourCC("meco"), fourCC("strk"), fourCC("rinf")};

constexpr FourCC kVideoEntries[] = {fourCC("mp4v"), fourCC("avc1"), fourCC("avc2"), fourCC("avc3"),
                                    fourCC("avc4"), fourCC("hvc1"), fourCC("hev1"), fourCC("vvc1"),
                                    fourCC("av01"), fourCC("vp08"), fourCC("vp09"), fourCC("s263"),
                                    fourCC("jpeg"), fourCC("mjpa"), fourCC("encv"), fourCC("apch"),
                                    fourCC("apcn"), fourCC("apcs"), fourCC("SVQ3"), fourCC("cvid")};

constexpr FourCC kAudioEntries[] = {fourCC("mp4a"), fourCC("alac"), fourCC("enca"), fourCC("ac-3"),
                                    fourCC("ec-3"), fourCC("samr"), fourCC("sawb"), fourCC("Opus"),
                                    fourCC("fLaC"), fourCC(".mp3"), fourCC("sowt"), fourCC("twos"),
                                    fourCC("lpcm"), fourCC("ulaw"), fourCC("alaw"), fourCC("dtsc"),
                                    fourCC("QDM2"), fourCC("ima4"), fourCC("raw "), fourCC("in24")};

constexpr Named kNames[] = {
    {fourCC("ftyp"), "file type"},
    {fourCC("styp"), "segment type"},
    {fourCC("moov"), "movie"},
    {fourCC("mvhd"), "movie header"},
    {fourCC("iods"), "initial object descriptor"},
    {fourCC("trak"), "track"},
    {fourCC("tkhd"), "track header"},
    {fourCC("tref"), "references to tracks"},
    {fourCC("load"), "preload settings"},
    {fourCC("tapt"), "track aperture"},
    {fourCC("edts"), "edits"},
    {fourCC("elst"), "edit list"},
    {fourCC("mdia"), "media"},
    {fourCC("mdhd"), "media header"},
    {fourCC("hdlr"), "handler"},
    {fourCC("elng"), "extended language"},
    {fourCC("minf"), "media information"},
    {fourCC("vmhd"), "video media header"},
    {fourCC("smhd"), "sound media header"},
    {fourCC("hmhd"), "hint media header"},
    {fourCC("nmhd"), "null media header"},
    {fourCC("sthd"), "subtitle media header"},
    {fourCC("gmhd"), "base media header"},
    {fourCC("gmin"), "base media information"},
    {fourCC("dinf"), "data information"},
    {fourCC("dref"), "data references"},
    {fourCC("url "), "data entry URL"},
    {fourCC("urn "), "data entry URN"},
    {fourCC("alis"), "data entry alias"},
    {fourCC("stbl"), "sample table"},
    {fourCC("stsd"), "sample descriptions"},
    {fourCC("stts"), "decoding times"},
    {fourCC("ctts"), "composition offsets"},
    {fourCC("cslg"), "composition shift"},
    {fourCC("stss"), "sync samples"},
    {fourCC("stps"), "partial sync samples"},
    {fourCC("stsh"), "shadow sync samples"},
    {fourCC("stsz"), "sample sizes"},
    {fourCC("stz2"), "compact sample sizes"},
    {fourCC("stsc"), "samples of chunks"},
    {fourCC("stco"), "chunk offsets"},
    {fourCC("co64"), "chunk offsets, 64 bits"},
    {fourCC("sdtp"), "sample dependencies"},
    {fourCC("stdp"), "degradation priorities"},
    {fourCC("padb"), "padding bits"},
    {fourCC("sbgp"), "samples of groups"},
    {fourCC("sgpd"), "sample group descriptions"},
    {fourCC("subs"), "sub-samples"},
    {fourCC("saiz"), "auxiliary information sizes"},
    {fourCC("saio"), "auxiliary information offsets"},
    {fourCC("senc"), "sample encryption"},
    {fourCC("esds"), "elementary stream descriptor"},
    {fourCC("avcC"), "H.264 configuration"},
    {fourCC("hvcC"), "H.265 configuration"},
    {fourCC("av1C"), "AV1 configuration"},
    {fourCC("vpcC"), "VP9 configuration"},
    {fourCC("dac3"), "AC-3 configuration"},
    {fourCC("dec3"), "E-AC-3 configuration"},
    {fourCC("dOps"), "Opus configuration"},
    {fourCC("dfLa"), "FLAC configuration"},
    {fourCC("damr"), "AMR configuration"},
    {fourCC("d263"), "H.263 configuration"},
    {fourCC("wave"), "QuickTime sound parameters"},
    {fourCC("chan"), "audio channel layout"},
    {fourCC("btrt"), "bit rates"},
    {fourCC("pasp"), "pixel aspect ratio"},
    {fourCC("clap"), "clean aperture"},
    {fourCC("colr"), "colours"},
    {fourCC("fiel"), "fields of a picture"},
    {fourCC("gama"), "gamma"},
    {fourCC("m4ds"), "MPEG-4 descriptors"},
    {fourCC("sinf"), "protection scheme"},
    {fourCC("frma"), "original format"},
    {fourCC("schm"), "scheme type"},
    {fourCC("schi"), "scheme information"},
    {fourCC("tenc"), "track encryption"},
    {fourCC("pssh"), "protection system"},
    {fourCC("udta"), "user data"},
    {fourCC("meta"), "metadata"},
    {fourCC("ilst"), "item list"},
    {fourCC("keys"), "item keys"},
    {fourCC("ID32"), "ID3 tag"},
    {fourCC("chpl"), "chapter list"},
    {fourCC("cprt"), "copyright"},
    {fourCC("titl"), "title"},
    {fourCC("tags"), "tagging box"},
    {fourCC("mvex"), "movie extends"},
    {fourCC("mehd"), "movie extends header"},
    {fourCC("trex"), "track extends"},
    {fourCC("moof"), "movie fragment"},
    {fourCC("mfhd"), "movie fragment header"},
    {fourCC("traf"), "track fragment"},
    {fourCC("tfhd"), "track fragment header"},
    {fourCC("tfdt"), "fragment decoding time"},
    {fourCC("trun"), "fragment samples"},
    {fourCC("mfra"), "fragment random access"},
    {fourCC("tfra"), "track fragment random access"},
    {fourCC("mfro"), "random access offset"},
    {fourCC("sidx"), "segment index"},
    {fourCC("prft"), "producer reference time"},
    {fourCC("emsg"), "event message"},
    {fourCC("mdat"), "media data"},
    {fourCC("free"), "free space"},
    {fourCC("skip"), "free space"},
    {fourCC("wide"), "room for a 64-bit size"},
    {fourCC("pdin"), "progressive download"},
    {fourCC("uuid"), "extension"},
};

constexpr Named kItemNames[] = {
    {fourCC("aART"), "album artist"},
    {fourCC("covr"), "cover"},
    {fourCC("cprt"), "copyright"},
    {fourCC("desc"), "description"},
    {fourCC("ldes"), "long description"},
    {fourCC("pgap"), "gapless playback"},
    {fourCC("pcst"), "podcast"},
    {fourCC("stik"), "media kind"},
    {fourCC("rtng"), "rating"},
    {fourCC("purd"), "purchase date"},
    {fourCC("apID"), "account"},
    {fourCC("cnID"), "catalogue number"},
    {fourCC("sonm"), "sort title"},
    {fourCC("soar"), "sort artist"},
    {fourCC("soal"), "sort album"},
    {fourCC("soaa"), "sort album artist"},
    {fourCC("soco"), "sort composer"},
    {fourCC("tvsh"), "show"},
    {fourCC("tven"), "episode"},
    {fourCC("tvsn"), "season"},
    {fourCC("tves"), "episode number"},
    {fourCC("hdvd"), "high definition"},
    {fourCC("----"), "free-form item"},
    {fourCC("trkn"), "track number"},
    {fourCC("disk"), "disc number"},
    {fourCC("gnre"), "genre code"},
    {fourCC("tmpo"), "tempo"},
    {fourCC("cpil"), "compilation"},
    {fourCC("\xa9grp"), "grouping"},
    {fourCC("\xa9lyr"), "lyrics"},
    {fourCC("\xa9nrt"), "narrator"},
    {fourCC("\xa9pub"), "publisher"},
    {fourCC("catg"), "category"},
    {fourCC("keyw"), "keywords"},
    {fourCC("purl"), "podcast address"},
    {fourCC("egid"), "episode identifier"},
    {fourCC("sfID"), "store country"},
    {fourCC("atID"), "artist number"},
    {fourCC("plID"), "playlist number"},
    {fourCC("geID"), "genre number"},
    {fourCC("cmID"), "composer number"},
    {fourCC("xid "), "vendor number"},
    {fourCC("akID"), "account kind"},
    {fourCC("ownr"), "owner"},
};

template <size_t kCount>
const char* nameIn(const Named (&names)[kCount], FourCC type) {
  const auto* const found = std::find_if(std::begin(names), std::end(names),
                                         [type](const Named& row) { return row.type == type; });
  return found == std::end(names) ? nullptr : found->name;
}

bool isItem(const Box& box) { return box.isIn(fourCC("ilst")); }
bool isSampleEntry(const Box& box) { return box.isIn(fourCC("stsd")); }
bool isTaggingBox(const Box* box) {
  return box && (box->type == fourCC("tags") || box->type == fourCC("tseg"));
}

/// A box and the box that it must be in for the library to take it.
struct ReadBox {
  FourCC parent;
  FourCC type;
  const char* second;  ///< effect of another one; null where boxes may repeat
};

constexpr char kReplaces[] = "replaces the one before";
constexpr char kRefused[] = "the file is refused for it, unless the one before is empty";
constexpr char kIgnored[] = "ignored, unless the one before is broken";

constexpr ReadBox kReadBoxes[] = {
    {fourCC("moov"), fourCC("mvhd"), kReplaces},
    {fourCC("moov"), fourCC("trak"), nullptr},
    {fourCC("moov"), fourCC("udta"), nullptr},
    {fourCC("trak"), fourCC("mdia"), nullptr},
    {fourCC("mdia"), fourCC("mdhd"), kReplaces},
    {fourCC("mdia"), fourCC("minf"), nullptr},
    {fourCC("minf"), fourCC("stbl"), nullptr},
    {fourCC("stbl"), fourCC("stsd"), "adds to the one before"},
    {fourCC("stbl"), fourCC("stts"), kRefused},
    {fourCC("stbl"), fourCC("ctts"), kRefused},
    {fourCC("stbl"), fourCC("stss"), kReplaces},
    {fourCC("stbl"), fourCC("stsz"), kReplaces},
    {fourCC("stbl"), fourCC("stsc"), kReplaces},
    {fourCC("stbl"), fourCC("stco"), kReplaces},
    {fourCC("stbl"), fourCC("co64"), kReplaces},
    {fourCC("stsd"), fourCC("mp4a"), "the last one counts"},
    {fourCC("stsd"), fourCC("alac"), "the last one counts"},
    {fourCC("stsd"), fourCC("mp4v"), "the last one counts"},
    {fourCC("stsd"), fourCC("avc1"), "the last one counts"},
    {fourCC("udta"), fourCC("chpl"), kReplaces},
    {fourCC("udta"), fourCC("tags"), "discards the one before, and itself"},
    {fourCC("udta"), fourCC("meta"), kIgnored},
    {fourCC("meta"), fourCC("ilst"), nullptr},
    {fourCC("tags"), fourCC("meta"), nullptr},
    {fourCC("tags"), fourCC("tseg"), nullptr},
    {fourCC("tags"), fourCC("tshd"), nullptr},
    {fourCC("tags"), fourCC("covr"), kReplaces},
    {fourCC("tseg"), fourCC("meta"), nullptr},
    {fourCC("tseg"), fourCC("tshd"), "the tagging box is discarded for it"},
};

const ReadBox* readRow(const Box& box) {
  const auto* const found = std::find_if(
      std::begin(kReadBoxes), std::end(kReadBoxes),
      [&box](const ReadBox& row) { return box.isIn(row.parent) && box.type == row.type; });
  return found == std::end(kReadBoxes) ? nullptr : found;
}

/// The library looks for a configuration in the first box of an entry only, where the fixed part of
/// the plain layout ends.
bool isConfiguration(const Box& box) {
  const FourCC entry = box.parent->type;
  const uint64_t fixedBytes = isAudioEntry(entry) ? kAudioEntryBytes : kVideoEntryBytes;
  if (box.offset != box.parent->payload() + fixedBytes) return false;
  switch (box.type) {
    case fourCC("esds"):
      return entry == fourCC("mp4a") || entry == fourCC("mp4v") || entry == fourCC("alac") ||
             entry == fourCC("avc1");
    case fourCC("avcC"):
      return entry == fourCC("avc1") || entry == fourCC("mp4v");
    case fourCC("alac"):
      return entry == fourCC("alac") || entry == fourCC("mp4a");
    default:
      return false;
  }
}

}  // namespace

const char* boxName(const Box& box) {
  if (isItem(box)) {
    const char* const name = nameIn(kItemNames, box.type);
    return name ? name : atomkit::tagNameOf(box.type);
  }
  if (box.parent && isItem(*box.parent)) {
    switch (box.type) {
      case fourCC("data"):
        return "value";
      case fourCC("mean"):
        return "name space";
      case fourCC("name"):
        return "name";
      default:
        return nullptr;
    }
  }
  if (isTaggingBox(box.parent)) {
    switch (box.type) {
      case fourCC("meta"):
        return "fields";
      case fourCC("tseg"):
        return "fields of a chapter";
      case fourCC("tshd"):
        return "chapter number";
      case fourCC("covr"):
        return "cover";
      default:
        return nullptr;
    }
  }
  if (isSampleEntry(box)) {
    if (isAudioEntry(box.type)) return "audio";
    if (isVideoEntry(box.type)) return "video";
    return "sample entry";
  }
  if (box.isIn(fourCC("tref"))) return "track numbers";
  if (box.type == fourCC("alac")) return "ALAC configuration";
  return nameIn(kNames, box.type);
}

bool isRead(const Box& box) {
  if (!box.parent) return box.type == fourCC("moov") || box.type == fourCC("mdat");
  if (!isRead(*box.parent)) return false;
  if (isItem(box)) return true;
  if (isItem(*box.parent)) {
    return box.type == fourCC("data") ||
           (box.type == fourCC("name") && box.parent->type != fourCC("covr"));
  }
  if (isSampleEntry(*box.parent)) return isConfiguration(box);
  if (box.type == fourCC("meta") && box.isIn(fourCC("udta")) && box.index > 0) return false;
  return readRow(box) != nullptr;
}

const char* effectOfDuplicate(const Box& box) {
  if (box.index == 0) return nullptr;
  if (!box.parent) return box.type == fourCC("moov") ? "the file is refused for it" : nullptr;
  const ReadBox* const row = readRow(box);
  return row ? row->second : nullptr;
}

bool isAudioEntry(FourCC type) { return isAmong(type, kAudioEntries); }
bool isVideoEntry(FourCC type) { return isAmong(type, kVideoEntries); }
bool isPlainContainer(FourCC type) { return isAmong(type, kPlainContainers); }

}  // namespace inspect
