// Boxes, their paths, and the walk over good and damaged files.
#include "inspect/box_walker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/failure.h"
#include "inspect/box_catalog.h"
#include "tests/inspect/scratch_movie.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;
using inspect::Box;
using inspect::BoxChain;
using inspect::Go;
using inspect::NoBox;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

/// Notes every box as its path, and every place without one as "? OFFSET".
class Noting final : public inspect::BoxVisitor {
 public:
  Go enter(const Box& box) override {
    paths.push_back(inspect::pathText(box));
    return Go::into;
  }
  Go noBox(const NoBox& noBox) override {
    paths.push_back("? " + std::to_string(noBox.offset));
    reasons.push_back(noBox.reason);
    return Go::past;
  }

  std::vector<std::string> paths;
  std::vector<NoBox::Reason> reasons;
};

Noting walk(const Bytes& bytes) {
  const inspecting::ScratchMovie movie(bytes);
  inspect::File file(movie.file());
  Noting noting;
  inspect::walkBoxes(file, noting);
  return noting;
}

TEST(BoxWalker, CountsBoxesOfOneTypeFromZero) {
  EXPECT_THAT(walk(join(box("moov", box("trak"), box("free"), box("trak"), box("trak")))).paths,
              ElementsAre("/moov", "/moov/trak", "/moov/free", "/moov/trak[1]", "/moov/trak[2]"));
}

TEST(BoxWalker, FindsTheBoxesInSampleEntriesAfterTheirFields) {
  const auto paths =
      walk(moov({.tracks = {trak({.stsd = stsd(mp4a())}), trak({.stsd = stsd(avc1())})}})).paths;
  EXPECT_THAT(paths, Contains("/moov/trak/mdia/minf/stbl/stsd/mp4a/esds"));
  EXPECT_THAT(paths, Contains("/moov/trak[1]/mdia/minf/stbl/stsd/avc1/avcC"));
}

TEST(BoxWalker, FindsTheBoxesOfQuickTimeSoundEntries) {
  const Bytes fields = join(zeros(6), u16(1), u16(1), zeros(6), u16(2), u16(16), u32(0),
                            u32(44100u << 16), zeros(16));
  const auto paths =
      walk(box("stsd", full(0), u32(1), box("mp4a", fields, box("wave", esds())))).paths;
  EXPECT_THAT(paths, ElementsAre("/stsd", "/stsd/mp4a", "/stsd/mp4a/wave", "/stsd/mp4a/wave/esds"));
}

TEST(BoxWalker, TakesMetadataWithAndWithoutVersion) {
  const Bytes handler = box("hdlr", full(0), zeros(20));
  EXPECT_THAT(walk(box("meta", full(0), handler)).paths, ElementsAre("/meta", "/meta/hdlr"));
  EXPECT_THAT(walk(box("meta", handler)).paths, ElementsAre("/meta", "/meta/hdlr"));
}

TEST(BoxWalker, TellsWhatIsNoBoxAndWhy) {
  using Reason = NoBox::Reason;
  EXPECT_THAT(walk(join(box("free"), u32(7), text("oops"))).reasons, ElementsAre(Reason::badSize));
  EXPECT_THAT(walk(join(box("free"), text("abc"))).reasons, ElementsAre(Reason::tooShort));
  EXPECT_THAT(walk(join(box("free"), u32(8), u32(5))).reasons, ElementsAre(Reason::badType));
  EXPECT_THAT(walk(box("udta", box("free"), u32(0))).reasons, ElementsAre(Reason::zeroBytes));
  EXPECT_THAT(walk(largeBoxClaiming(15, "mdat")).reasons, ElementsAre(Reason::badSize));
  EXPECT_THAT(walk(join(u32(1), text("mdat"), u32(0))).reasons, ElementsAre(Reason::tooShort));
}

TEST(BoxWalker, GoesOnAfterABrokenListOfBoxes) {
  EXPECT_THAT(walk(join(box("moov", u32(3), text("oops")), box("mdat"))).paths,
              ElementsAre("/moov", "? 8", "/mdat"));
}

TEST(BoxWalker, KeepsABoxWithinTheBoxAroundIt) {
  const inspecting::ScratchMovie movie(
      join(box("moov", boxClaiming(0x7fffffff, "trak", zeros(4))), box("free")));
  inspect::File file(movie.file());
  const BoxChain chain = inspect::boxNamed(file, inspect::parsePath("moov/trak"));
  ASSERT_TRUE(chain.deepest());
  EXPECT_EQ(chain.deepest()->end, 20u);
  EXPECT_TRUE(chain.deepest()->isCutShort());
  EXPECT_EQ(chain.deepest()->declaredSize, 0x7fffffffu);
  EXPECT_FALSE(chain.deepest()->parent->isCutShort());
}

TEST(BoxWalker, TakesABoxOfSizeZeroToTheEnd) {
  const inspecting::ScratchMovie movie(boxClaiming(0, "mdat", zeros(100)));
  inspect::File file(movie.file());
  const BoxChain chain = inspect::boxAt(file, 107);
  ASSERT_TRUE(chain.deepest());
  EXPECT_TRUE(chain.deepest()->isOpenEnded());
  EXPECT_FALSE(chain.deepest()->isCutShort());
  EXPECT_EQ(chain.deepest()->end, 108u);
}

TEST(BoxWalker, StopsAtADepthThatNoFileNeeds) {
  Bytes nested = box("udta");
  for (int i = 0; i < 100; ++i) nested = box("udta", nested);
  const Noting noting = walk(nested);
  EXPECT_EQ(noting.paths.size(), inspect::kDeepest + 2);
  EXPECT_THAT(noting.reasons, ElementsAre(NoBox::Reason::tooDeep));
}

TEST(BoxWalker, FindsTheDeepestBoxThatHoldsAByte) {
  const Bytes bytes = movieFile({.tracks = {aacTrack(), avcTrack()}}).bytes;
  const inspecting::ScratchMovie movie(bytes);
  inspect::File file(movie.file());
  for (uint64_t at = 0; at < bytes.size(); ++at) {
    const BoxChain chain = inspect::boxAt(file, at);
    ASSERT_TRUE(chain.deepest()) << at;
    const Box& found = *chain.deepest();
    EXPECT_TRUE(found.offset <= at && at < found.end) << at;
    const BoxChain named = inspect::boxNamed(file, inspect::parsePath(inspect::pathText(found)));
    ASSERT_TRUE(named.deepest()) << inspect::pathText(found);
    EXPECT_EQ(named.deepest()->offset, found.offset);
  }
}

TEST(BoxPath, IsReadAsItIsWritten) {
  for (const std::string type : {"moov", "\xa9nam", "----", "a/b]", "\x01\x02\xff ", "[x\\y"}) {
    Box box;
    box.type = atomkit::fourCCFrom(reinterpret_cast<const uint8_t*>(type.data()));
    for (const uint32_t index : {0u, 1u, 4294967295u}) {
      box.index = index;
      const auto steps = inspect::parsePath(inspect::pathText(box));
      ASSERT_EQ(steps.size(), 1u);
      EXPECT_EQ(steps[0].type, box.type) << inspect::pathText(box);
      EXPECT_EQ(steps[0].index, index);
    }
  }
  EXPECT_EQ(inspect::typeText(atomkit::fourCC("\xa9nam")), "©nam");
}

TEST(BoxPath, RefusesWhatIsNoPath) {
  for (const char* path : {"", "/", "moo", "moovie", "moov/", "moov//trak", "moov[", "moov[]",
                           "moov[x]", "moov[-1]", "moov[4294967296]", "moov[1]x", "\\xzznam"}) {
    EXPECT_THROW(inspect::parsePath(path), cli::Failure) << path;
  }
}

TEST(BoxCatalog, KnowsWhatTheLibraryReads) {
  const inspecting::ScratchMovie movie(
      movieFile({.tracks = {aacTrack()}, .udta = metaWith(ilstText("\xa9nam", "x"))}).bytes);
  inspect::File file(movie.file());
  const auto read = [&](const char* path) {
    const BoxChain chain = inspect::boxNamed(file, inspect::parsePath(path));
    EXPECT_TRUE(chain.deepest()) << path;
    return chain.deepest() && inspect::isRead(*chain.deepest());
  };
  for (const char* path : {"moov", "mdat", "moov/mvhd", "moov/trak/mdia/mdhd",
                           "moov/trak/mdia/minf/stbl/stsd/mp4a/esds", "moov/udta/meta/ilst/©nam",
                           "moov/udta/meta/ilst/©nam/data"}) {
    EXPECT_TRUE(read(path)) << path;
  }
  for (const char* path : {"ftyp", "moov/trak/tkhd", "moov/trak/mdia/hdlr"}) {
    EXPECT_FALSE(read(path)) << path;
  }
}

TEST(Tree, MarksWhatIsWrong) {
  const inspecting::ScratchMovie movie(join(movieFile({.tracks = {aacTrack()}}).bytes, box("moov"),
                                            box("what"), boxClaiming(900, "free", zeros(3))));
  const std::string out = movie.run("tree").out;
  EXPECT_THAT(out, testing::HasSubstr("moov[1] movie [duplicate: the file is refused for it]"));
  EXPECT_THAT(out, testing::HasSubstr("what [unknown]"));
  EXPECT_THAT(out, testing::HasSubstr("cut short: declares 900 bytes, 11 are left"));
  EXPECT_THAT(out, testing::HasSubstr("tkhd track header v0 flags 000007"));
}

TEST(Tree, MarksTheTablesOfATrackThatIsNotPlayed) {
  MediaTrack other = aacTrack();
  other.boxes.stsd = stsd(otherEntry());
  const inspecting::ScratchMovie movie(movieFile({.tracks = {other}}).bytes);
  EXPECT_THAT(movie.run("tree").out,
              testing::ContainsRegex("stts.*\\[ignored: the plug-in plays no such track\\]"));
  EXPECT_THAT(inspecting::run({"tree", "mp3-only.mp4"}).out,
              Not(testing::HasSubstr("plays no such track")));
}

TEST(Tree, NestsItsJsonAsTheBoxesNest) {
  const inspecting::ScratchMovie movie(join(box("moov", box("trak", u32(3), text("oops")))));
  const auto document = movie.json("tree");
  const auto& trak = document["boxes"][0]["children"][0];
  EXPECT_EQ(trak["path"], "/moov/trak");
  EXPECT_EQ(trak["offset"], 8);
  EXPECT_EQ(trak["size"], 16);
  EXPECT_EQ(trak["children"][0]["type"], nullptr);
}

TEST(Tree, RefusesABoxThatIsNotThere) {
  const auto result = inspecting::run({"tree", "sample.mp4", "moov/trak[9]"});
  EXPECT_EQ(result.status, 64);
  EXPECT_EQ(result.err, "velainspect: sample.mp4: There is no box moov/trak[9] in the file.\n");
}

TEST(Tree, ShowsAtMost4096BytesOfABox) {
  const auto result = inspecting::run({"tree", "sample.mp4", "--hex", "mdat"});
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 4096 / 16 + 1);
  EXPECT_THAT(result.out, testing::EndsWith("and 35658 further bytes\n"));
}

}  // namespace
