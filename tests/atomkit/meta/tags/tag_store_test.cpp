#include "atomkit/meta/tags/tag_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/atomkit/box_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/tag_boxes.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using testing::AnyOf;

constexpr TagFlag kSingle = TagFlag::single;
constexpr TagFlag kExtensible = TagFlag::extensible;

void put(TagStore& store, const std::string& name, const std::string& value,
         TagFlag flag = kExtensible) {
  store.set(name.c_str(), SharedString::copyOf(value.c_str()), flag);
}

/// A source other than a TagStore: a list of "name=value" pairs, all single.
class PlainSource final : public TagSource {
 public:
  explicit PlainSource(const std::vector<std::pair<std::string, std::string>>& tags) {
    for (const auto& [name, value] : tags) {
      names_.push_back(name);
      values_.push_back(SharedString::copyOf(value.c_str()));
    }
  }
  uint32_t entryCount() const override { return static_cast<uint32_t>(names_.size()); }
  const char* entryName(uint32_t entry) const override { return names_[entry].c_str(); }
  uint32_t valueCount(uint32_t) const override { return 1; }
  const SharedString& value(uint32_t entry, uint32_t) const override { return values_[entry]; }
  TagFlag flag(uint32_t) const override { return kSingle; }

 private:
  std::vector<std::string> names_;
  std::vector<SharedString> values_;
};

TEST(TagStore, IsEmptyAtFirstAndAfterClear) {
  TagStore store;
  EXPECT_EQ(store.entryCount(), 0u);
  put(store, "title", "One");
  EXPECT_EQ(store.entryCount(), 1u);
  store.clear();
  EXPECT_EQ(store.entryCount(), 0u);
  EXPECT_EQ(store.find("title"), TagStore::kNoTag);
}

TEST(TagStore, IndexAtTheCountIsOutOfRange) {
  TagStore store;
  put(store, "title", "One");
  EXPECT_THROWS_MESSAGE(store.entryName(1), "array access out of range");
  EXPECT_THROWS_MESSAGE(store.valueCount(1), "array access out of range");
  EXPECT_THROWS_MESSAGE(store.flag(1), "array access out of range");
  EXPECT_THROWS_MESSAGE(store.value(1, 0), "array access out of range");
  EXPECT_THROWS_MESSAGE(store.value(0, 1), "array access out of range");
  EXPECT_THROWS_MESSAGE(store.addValue(1, SharedString::copyOf("x")), "array access out of range");
  TagStore copy;
  copy.copyFrom(store);
  EXPECT_THROWS_MESSAGE(copy.entryName(1), "array access out of range");
  EXPECT_THROWS_MESSAGE(copy.value(0, 1), "array access out of range");
}

TEST(TagStore, ReadOperationsStandInSlotOrder) {
  TagStore store;
  put(store, "first", "1", kSingle);
  put(store, "second", "2");
  store.addValue(1, SharedString::copyOf("3"));
  const TagSource* source = &store;
  void** slots = *reinterpret_cast<void** const*>(source);
  EXPECT_EQ(reinterpret_cast<uint32_t (*)(const TagSource*)>(slots[0])(source), 2u);
  EXPECT_STREQ(reinterpret_cast<const char* (*)(const TagSource*, uint32_t)>(slots[1])(source, 1),
               "second");
  EXPECT_EQ(reinterpret_cast<uint32_t (*)(const TagSource*, uint32_t)>(slots[2])(source, 1), 2u);
  EXPECT_STREQ(reinterpret_cast<const SharedString& (*)(const TagSource*, uint32_t, uint32_t)>(
                   slots[3])(source, 1, 1)
                   .text(),
               "3");
  EXPECT_EQ(reinterpret_cast<TagFlag (*)(const TagSource*, uint32_t)>(slots[4])(source, 0),
            kSingle);
}

TEST(TagStore, AnEntryIsWhatTheSingleOperationsTell) {
  TagStore original;
  put(original, "title", "One");
  put(original, "artist", "Someone");
  TagStore copy;
  copy.copyFrom(original);
  put(copy, "TITLE", "Two", kSingle);
  put(copy, "track", "1");
  copy.addValue(2, SharedString::copyOf("2"));
  for (uint32_t i = 0; i < copy.entryCount(); ++i) {
    const TagField& entry = copy.entry(i);
    EXPECT_EQ(entry.name.text(), copy.entryName(i)) << "the same text, not only an equal one";
    EXPECT_EQ(entry.flag, copy.flag(i));
    ASSERT_EQ(entry.values.count(), copy.valueCount(i));
    for (uint32_t k = 0; k < entry.values.count(); ++k) {
      EXPECT_EQ(entry.values[k].text(), copy.value(i, k).text());
    }
  }
  EXPECT_STREQ(copy.entry(0).values[0].text(), "Two");
  EXPECT_THROWS_MESSAGE(copy.entry(3), "array access out of range");
}

TEST(TagStore, FlagsAreTheBytesZeroAndOne) {
  EXPECT_EQ(sizeof(TagFlag), 1u);
  EXPECT_EQ(static_cast<int>(kSingle), 0);
  EXPECT_EQ(static_cast<int>(kExtensible), 1);
}

TEST(TagStore, FindFoldsAsciiCapitalsOnly) {
  TagStore store;
  put(store, "Title", "One");
  put(store, "caf\xe9", "Two");
  EXPECT_EQ(store.find("tITLE"), 0u);
  EXPECT_EQ(store.find("CAF\xe9"), 1u);
  EXPECT_EQ(store.find("caf\xc9"), TagStore::kNoTag);
  EXPECT_EQ(store.find("titl"), TagStore::kNoTag);
  EXPECT_EQ(store.find("titles"), TagStore::kNoTag);
  EXPECT_EQ(store.find(""), TagStore::kNoTag);
}

TEST(TagStore, FindGivesTheFirstOfEqualNames) {
  TagStore store;
  store.append("a", kSingle);
  EXPECT_EQ(store.append("B", kSingle), 1u);
  EXPECT_EQ(store.append("b", kExtensible), 2u);
  EXPECT_EQ(store.find("b"), 1u);
  TagStore copy;
  copy.copyFrom(store);
  copy.append("A", kSingle);
  EXPECT_EQ(copy.find("b"), 1u);
  EXPECT_EQ(copy.find("a"), 0u);
}

TEST(TagStore, FindsEveryNameWhateverTheirOrder) {
  constexpr uint32_t kCount = 2000;
  const auto rising = [](uint32_t i) { return "n" + std::to_string(100000 + i); };
  const auto falling = [](uint32_t i) { return "n" + std::to_string(200000 - i); };
  const auto scattered = [](uint32_t i) { return "n" + std::to_string(i * 2654435761u); };
  const std::vector<std::string (*)(uint32_t)> orders = {rising, falling, scattered};
  for (const auto nameOf : orders) {
    TagStore store;
    for (uint32_t i = 0; i < kCount; ++i) put(store, nameOf(i), "x");
    ASSERT_EQ(store.entryCount(), kCount);
    for (uint32_t i = 0; i < kCount; ++i) ASSERT_EQ(store.find(nameOf(i).c_str()), i);
    EXPECT_EQ(store.find("n"), TagStore::kNoTag);
    EXPECT_EQ(store.find("o"), TagStore::kNoTag);
  }
}

TEST(TagStore, SetAppendsAnAbsentTagWithOneValueAndItsFlag) {
  TagStore store;
  put(store, "Title", "One", kSingle);
  put(store, "artist", "Two", kExtensible);
  EXPECT_EQ(listed(store), (Listed{"Title=One (single)", "artist=Two"}));
}

TEST(TagStore, SetReplacesAllValuesAndTheFlagAndKeepsNameAndPlace) {
  TagStore store;
  put(store, "Title", "One");
  store.addValue(0, SharedString::copyOf("Two"));
  put(store, "artist", "A");
  put(store, "TITLE", "Three", kSingle);
  EXPECT_EQ(listed(store), (Listed{"Title=Three (single)", "artist=A"}));
  put(store, "artist", "B", kExtensible);
  EXPECT_EQ(listed(store), (Listed{"Title=Three (single)", "artist=B"}));
}

TEST(TagStore, SetTakesOverTheCallersReference) {
  TagStore store;
  SharedString value = SharedString::copyOf("One");
  store.set("title", value, kExtensible);
  EXPECT_EQ(value.references(), 2u);
  store.set("title", SharedString::copyOf("Two"), kExtensible);
  EXPECT_EQ(value.references(), 1u);
}

TEST(TagStore, AddValueAppendsToTheEntryInOrder) {
  TagStore store;
  put(store, "artist", "A");
  store.addValue(0, SharedString::copyOf("B"));
  store.addValue(0, SharedString::copyOf("C"));
  EXPECT_EQ(listed(store), Listed{"artist=A|B|C"});
}

TEST(TagStore, AppendedEntryHasNoValuesAndMayRepeatAName) {
  TagStore store;
  EXPECT_EQ(store.append("x", kSingle), 0u);
  EXPECT_EQ(store.append("x", kExtensible), 1u);
  EXPECT_EQ(store.append("", kSingle), 2u);
  EXPECT_EQ(listed(store), (Listed{"x (single)", "x", " (single)"}));
  EXPECT_EQ(store.find(""), 2u);
}

TEST(TagStore, CopyReplacesWhatWasThereAndSharesTheValues) {
  TagStore store;
  const SharedString value = SharedString::copyOf("One");
  store.set("title", value, kSingle);
  TagStore copy;
  put(copy, "artist", "gone");
  copy.copyFrom(store);
  EXPECT_EQ(listed(copy), Listed{"title=One (single)"});
  EXPECT_EQ(copy.value(0, 0).text(), value.text());
}

TEST(TagStore, CopyOfAnyOtherSourceSharesTheValuesToo) {
  const PlainSource source({{"Title", "One"}, {"title", "Two"}});
  TagStore copy;
  put(copy, "artist", "gone");
  copy.copyFrom(source);
  EXPECT_EQ(listed(copy), (Listed{"Title=One (single)", "title=Two (single)"}));
  EXPECT_EQ(source.value(0, 0).references(), 2u);
}

TEST(TagStore, CopyOfItselfChangesNothing) {
  TagStore store;
  put(store, "title", "One");
  store.copyFrom(store);
  EXPECT_EQ(listed(store), Listed{"title=One"});
  store.copyFrom(static_cast<const TagSource&>(store));
  EXPECT_EQ(listed(store), Listed{"title=One"});
}

TEST(TagStore, CopyAndOriginalChangeIndependently) {
  TagStore store;
  put(store, "title", "One");
  put(store, "artist", "A");
  TagStore copy;
  copy.copyFrom(store);
  put(copy, "TITLE", "Two");
  copy.addValue(1, SharedString::copyOf("B"));
  put(copy, "year", "1999");
  put(store, "artist", "C", kSingle);
  put(store, "genre", "Jazz");
  EXPECT_EQ(listed(copy), (Listed{"title=Two", "artist=A|B", "year=1999"}));
  EXPECT_EQ(listed(store), (Listed{"title=One", "artist=C (single)", "genre=Jazz"}));

  TagStore second;
  second.copyFrom(copy);
  second.addValue(0, SharedString::copyOf("Three"));
  store.clear();
  EXPECT_EQ(listed(second), (Listed{"title=Two|Three", "artist=A|B", "year=1999"}));
  EXPECT_EQ(listed(copy), (Listed{"title=Two", "artist=A|B", "year=1999"}));
}

TEST(TagStore, CopyCanChangeALaterEntryOfARepeatedName) {
  TagStore store;
  store.append("x", kExtensible);
  store.append("y", kExtensible);
  store.append("x", kExtensible);
  TagStore copy;
  copy.copyFrom(store);
  copy.addValue(0, SharedString::copyOf("first"));
  copy.addValue(2, SharedString::copyOf("second"));
  copy.addValue(1, SharedString::copyOf("other"));
  EXPECT_EQ(listed(copy), (Listed{"x=first", "y=other", "x=second"}));
  EXPECT_EQ(listed(store), (Listed{"x", "y", "x"}));
}

TEST(TagStore, MergeAppendsAbsentEntriesAndReplacesPresentOnes) {
  TagStore store;
  put(store, "Title", "File");
  store.addValue(0, SharedString::copyOf("More"));
  put(store, "artist", "A", kSingle);
  TagStore chapter;
  put(chapter, "year", "2001", kSingle);
  put(chapter, "TITLE", "Chapter", kSingle);
  store.merge(chapter);
  EXPECT_EQ(listed(store),
            (Listed{"Title=Chapter (single)", "artist=A (single)", "year=2001 (single)"}));
  EXPECT_EQ(listed(chapter), (Listed{"year=2001 (single)", "TITLE=Chapter (single)"}));
}

TEST(TagStore, MergeSharesTheValuesAndNothingElse) {
  TagStore store;
  TagStore chapter;
  put(chapter, "title", "One");
  store.merge(chapter);
  EXPECT_EQ(store.value(0, 0).text(), chapter.value(0, 0).text());
  chapter.addValue(0, SharedString::copyOf("Two"));
  EXPECT_EQ(listed(store), Listed{"title=One"});
}

TEST(TagStore, MergeLeavesOtherCopiesOfAnEntryAlone) {
  TagStore file;
  put(file, "title", "File");
  TagStore first;
  first.copyFrom(file);
  TagStore second;
  second.copyFrom(file);
  TagStore chapter;
  put(chapter, "title", "Chapter");
  first.merge(chapter);
  EXPECT_EQ(listed(first), Listed{"title=Chapter"});
  EXPECT_EQ(listed(second), Listed{"title=File"});
  EXPECT_EQ(listed(file), Listed{"title=File"});
}

TEST(TagStore, MergeOfRepeatedNamesKeepsTheLast) {
  TagStore store;
  store.merge(PlainSource({{"x", "1"}, {"X", "2"}}));
  EXPECT_EQ(listed(store), Listed{"x=2 (single)"});
}

TEST(TagStore, MergeTakesEmptyValueListsToo) {
  TagStore store;
  put(store, "x", "1");
  TagStore chapter;
  chapter.append("x", kSingle);
  store.merge(chapter);
  EXPECT_EQ(listed(store), Listed{"x (single)"});
}

// The same random operations, copies between stores included, are applied to stores and to plain
// lists.
TEST(TagStore, BehavesLikeAPlainListUnderRandomOperations) {
  struct Tag {
    std::string name;
    std::vector<std::string> values;
    TagFlag flag;
  };
  using Model = std::vector<Tag>;
  const auto lower = [](std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(c));
    return text;
  };
  const auto locate = [&](const Model& model, const std::string& name) {
    size_t i = 0;
    while (i < model.size() && lower(model[i].name) != lower(name)) ++i;
    return i;
  };
  const auto listedModel = [](const Model& model) {
    Listed all;
    for (const Tag& tag : model) {
      std::string entry = tag.name;
      for (size_t k = 0; k < tag.values.size(); ++k) entry += (k ? "|" : "=") + tag.values[k];
      all.push_back(entry + (tag.flag == kSingle ? " (single)" : ""));
    }
    return all;
  };

  std::mt19937 random(20);
  const auto upTo = [&](size_t limit) { return static_cast<uint32_t>(random() % limit); };
  constexpr size_t kStores = 4;
  TagStore stores[kStores];
  Model models[kStores];
  for (int step = 0; step < 4000; ++step) {
    TagStore& store = stores[upTo(kStores)];
    Model& model = models[&store - stores];
    const uint32_t other = upTo(kStores);
    const std::string name = (random() & 1 ? "t" : "T") + std::to_string(upTo(12));
    const std::string value = std::to_string(step);
    const TagFlag flag = random() & 1 ? kSingle : kExtensible;
    switch (upTo(12)) {
      case 0:
        store.copyFrom(stores[other]);
        model = Model(models[other]);
        break;
      case 1:
        store.copyFrom(static_cast<const TagSource&>(stores[other]));
        model = Model(models[other]);
        break;
      case 2: {
        store.merge(stores[other]);
        for (const Tag& tag : models[other]) {
          const size_t at = locate(model, tag.name);
          if (at == model.size()) {
            model.push_back(tag);
          } else {
            model[at].values = tag.values;
            model[at].flag = tag.flag;
          }
        }
        break;
      }
      case 3:
      case 4:
        EXPECT_EQ(store.append(name.c_str(), flag), model.size());
        model.push_back({name, {}, flag});
        break;
      case 5:
      case 6:
      case 7: {
        put(store, name, value, flag);
        const size_t at = locate(model, name);
        if (at == model.size()) model.push_back({name, {}, flag});
        model[at].values = {value};
        model[at].flag = flag;
        break;
      }
      case 8:
        if (model.size() > 20) {
          store.clear();
          model.clear();
        }
        break;
      default:
        if (!model.empty()) {
          const uint32_t at = upTo(model.size());
          store.addValue(at, SharedString::copyOf(value.c_str()));
          model[at].values.push_back(value);
        }
    }
    const size_t at = locate(model, name);
    ASSERT_EQ(store.find(name.c_str()), at == model.size() ? TagStore::kNoTag : at);
    for (size_t i = 0; i < kStores; ++i) {
      ASSERT_EQ(listed(stores[i]), listedModel(models[i])) << "store " << i << ", step " << step;
    }
  }
}

TEST(TagStore, CopiesOfManyTagsTakeNoMemoryOfTheirOwn) {
  TagStore store;
  for (int i = 0; i < 1000; ++i) put(store, "n" + std::to_string(i), "x");
  TagStore first;
  first.copyFrom(store);
  FailingAllocation counted;
  {
    TagStore second;
    second.copyFrom(store);
    EXPECT_EQ(counted.allocations(), 0u);
    second.set("n500", SharedString::copyOf("changed"), kSingle);
    second.set("title", SharedString::copyOf("own"), kSingle);
    EXPECT_EQ(second.entryCount(), 1001u);
    EXPECT_LE(counted.blocksHeld(), 16u) << "a changed copy holds what it changed only";
  }
  EXPECT_EQ(counted.blocksHeld(), 0u);
}

TEST(Deliberate, D351_ListsOfTagsAndValuesGrowWithSpareRoom) {
  constexpr uint32_t kCount = 4096;
  FailingAllocation counted;
  TagStore store;
  for (uint32_t i = 0; i < kCount; ++i) store.append("", kExtensible);
  // The first 64 slots are reached in 7 steps; then 63 segments, listed in room that doubles.
  EXPECT_EQ(counted.allocations(), kCount + 7u + 63u + 7u) << "an entry each, and room by segments";
  const SharedString value = SharedString::copyOf("x");
  const uint64_t before = counted.allocations();
  for (uint32_t i = 0; i < kCount; ++i) store.addValue(0, value);
  EXPECT_EQ(counted.allocations() - before, 13u);
}

// Runs `change` on a store of three tags that shares them with others, once for each of its
// allocations, which then fails.
template <class Change>
void failEveryAllocationOf(Change change, const Listed& expected, bool wholeOrNotAtAll) {
  const Listed before = {"title=One", "artist=A|B", "tool=T (single)"};
  for (uint64_t failAt = 0;; ++failAt) {
    TagStore store;
    put(store, "title", "One");
    put(store, "artist", "A");
    store.addValue(1, SharedString::copyOf("B"));
    put(store, "tool", "T", kSingle);
    TagStore sharing;
    sharing.copyFrom(store);
    TagStore target;
    target.copyFrom(store);
    const PlainSource source({{"artist", "Z"}, {"year", "1999"}});
    SharedString value = SharedString::copyOf("new");
    // Blocks of the ordinary allocator and of the failing one both come from the C library, so
    // either may free them.
    FailingAllocation failing(failAt);
    const std::string_view message = messageOf([&] { change(target, source, value); });
    if (!failing.failed()) {
      EXPECT_EQ(message, "");
      EXPECT_EQ(listed(target), expected);
      EXPECT_GT(failAt, 0u);
      return;
    }
    EXPECT_THAT(message, AnyOf("out of memory", "out of memory when resizing array"));
    if (wholeOrNotAtAll) {
      EXPECT_EQ(listed(target), before);
    }
    EXPECT_EQ(listed(store), before);
    EXPECT_EQ(listed(sharing), before);
  }
}

TEST(TagStore, FailedAllocationsLeaveTheTagsAsTheyWere) {
  failEveryAllocationOf([](TagStore& store, const TagSource&,
                           SharedString& value) { store.set("artist", value, kSingle); },
                        {"title=One", "artist=new (single)", "tool=T (single)"}, true);
  failEveryAllocationOf([](TagStore& store, const TagSource&,
                           SharedString& value) { store.set("year", value, kSingle); },
                        {"title=One", "artist=A|B", "tool=T (single)", "year=new (single)"}, true);
  failEveryAllocationOf(
      [](TagStore& store, const TagSource&, SharedString& value) { store.addValue(1, value); },
      {"title=One", "artist=A|B|new", "tool=T (single)"}, true);
  failEveryAllocationOf(
      [](TagStore& store, const TagSource&, SharedString&) { store.append("x", kSingle); },
      {"title=One", "artist=A|B", "tool=T (single)", "x (single)"}, true);
  failEveryAllocationOf(
      [](TagStore& store, const TagSource& source, SharedString&) { store.copyFrom(source); },
      {"artist=Z (single)", "year=1999 (single)"}, true);
  failEveryAllocationOf(
      [](TagStore& store, const TagSource& source, SharedString&) { store.merge(source); },
      {"title=One", "artist=Z (single)", "tool=T (single)", "year=1999 (single)"}, false);
}

TEST(TagStore, FailedAllocationsOfACopyLeakNothing) {
  for (uint64_t failAt = 0;; ++failAt) {
    FailingAllocation failing(failAt);
    const std::string_view message = messageOf([] {
      TagStore store;
      put(store, "title", "One");
      TagStore copy;
      copy.copyFrom(store);
      put(copy, "title", "Two");
      put(copy, "year", "1999");
      TagStore second;
      second.copyFrom(copy);
      second.merge(store);
    });
    EXPECT_EQ(failing.blocksHeld(), 0u);
    if (!failing.failed()) {
      EXPECT_EQ(message, "");
      EXPECT_GT(failAt, 10u);
      break;
    }
    EXPECT_THAT(message, AnyOf("out of memory", "out of memory when resizing array"));
  }
}

}  // namespace
}  // namespace atomkit
