#include "atomkit/meta/tags/tag_store.h"

#include <utility>

namespace atomkit {
namespace {

Handle<TagField> makeField(const char* name, TagFlag flag) {
  Handle<TagField> entry = Handle<TagField>::make();
  entry->name.assign(name);
  entry->flag = flag;
  return entry;
}

Handle<TagField> copyOfField(const TagSource& source, uint32_t index) {
  Handle<TagField> entry = makeField(source.entryName(index), source.flag(index));
  const uint32_t values = source.valueCount(index);
  for (uint32_t i = 0; i < values; ++i) entry->values.append(source.value(index, i));
  return entry;
}

Handle<TagField> copyOfField(const TagField& source) {
  Handle<TagField> entry = makeField(source.name.text(), source.flag);
  const uint32_t values = source.values.count();
  for (uint32_t i = 0; i < values; ++i) entry->values.append(source.values[i]);
  return entry;
}

}  // namespace

uint32_t TagStore::entryCount() const { return inheritedCount() + added_.count(); }

const char* TagStore::entryName(uint32_t entry) const { return entryAt(entry)->name.text(); }

uint32_t TagStore::valueCount(uint32_t entry) const { return entryAt(entry)->values.count(); }

const SharedString& TagStore::value(uint32_t entry, uint32_t index) const {
  return entryAt(entry)->values[index];
}

TagFlag TagStore::flag(uint32_t entry) const { return entryAt(entry)->flag; }

uint32_t TagStore::find(const char* name) const noexcept {
  const uint32_t inherited = base_ ? base_->find(name) : kNoTag;
  if (inherited != kNoTag) return inherited;
  const uint32_t added = added_.find(name);
  return added == kNoTag ? kNoTag : inheritedCount() + added;
}

void TagStore::set(const char* name, SharedString value, TagFlag flag) {
  GrowingArray<SharedString> values;
  values.append(std::move(value));
  const uint32_t index = find(name);
  if (index == kNoTag) {
    Handle<TagField> entry = makeField(name, flag);
    entry->values.swap(values);
    added_.append(std::move(entry));
    return;
  }
  TagField& entry = changeable(index);
  entry.values.swap(values);
  entry.flag = flag;
}

void TagStore::addValue(uint32_t entry, SharedString value) {
  changeable(entry).values.append(std::move(value));
}

uint32_t TagStore::append(const char* name, TagFlag flag) {
  added_.append(makeField(name, flag));
  return entryCount() - 1;
}

void TagStore::copyFrom(const TagSource& source) {
  TagLayer copy;
  const uint32_t count = source.entryCount();
  for (uint32_t i = 0; i < count; ++i) copy.append(copyOfField(source, i));
  clear();
  added_.swap(copy);
}

void TagStore::copyFrom(const TagStore& source) {
  if (&source == this) return;
  source.share();
  clear();
  base_ = source.base_;
}

void TagStore::merge(const TagSource& source) {
  const uint32_t count = source.entryCount();
  for (uint32_t i = 0; i < count; ++i) {
    Handle<TagField> taken = copyOfField(source, i);
    const uint32_t index = find(taken->name.text());
    if (index == kNoTag) {
      added_.append(std::move(taken));
      continue;
    }
    TagField& entry = changeable(index);
    entry.values.swap(taken->values);
    entry.flag = taken->flag;
  }
}

void TagStore::clear() noexcept {
  base_ = {};
  replaced_.clear();
  added_.clear();
}

const Handle<TagField>& TagStore::entryAt(uint32_t index) const {
  const uint32_t inherited = inheritedCount();
  if (index >= inherited) return added_[index - inherited];
  const Handle<TagField>& original = (*base_)[index];
  if (replaced_.count() == 0) return original;
  const char* name = original->name.text();
  const uint32_t place = replaced_.find(name);
  return place == kNoTag || base_->find(name) != index ? original : replaced_[place];
}

// The entry, which no other store shares any more.
TagField& TagStore::changeable(uint32_t index) {
  Handle<TagField>& place = ownPlace(index);
  if (place.references() > 1) place = copyOfField(*place);
  return *place;
}

// The place of the entry in a layer that is this store's own.
Handle<TagField>& TagStore::ownPlace(uint32_t index) {
  // replaced_ can't tell two entries of the same name apart.
  if (index < inheritedCount() && base_->find(entryName(index)) != index) gather();
  const uint32_t inherited = inheritedCount();
  if (index >= inherited) return added_[index - inherited];
  const Handle<TagField>& original = (*base_)[index];
  uint32_t place = replaced_.find(original->name.text());
  if (place == kNoTag) {
    place = replaced_.count();
    replaced_.append(original);
  }
  return replaced_[place];
}

// Brings all entries into added_.
void TagStore::gather() const {
  TagLayer all;
  const uint32_t count = entryCount();
  for (uint32_t i = 0; i < count; ++i) all.append(entryAt(i));
  base_ = {};
  replaced_.clear();
  added_.swap(all);
}

// Brings all entries into base_, which copies may then hold.
void TagStore::share() const {
  if (replaced_.count() == 0 && added_.count() == 0) return;
  if (base_) gather();
  Handle<TagLayer> shared = Handle<TagLayer>::make();
  shared->swap(added_);
  base_ = std::move(shared);
}

}  // namespace atomkit
