// SPDX-License-Identifier: Apache-2.0
#include "lauthd/requests/authorization_requests.h"

#include <algorithm>
#include <iterator>

#include "byod_db.h"
#include "lauthd/state/state.h"

namespace byod::lauthd {
namespace {

constexpr uint32_t kMessageMax = BYOD_DB_AUTZ_MAX - BYOD_DB_DEVTYPE_SIZE;

struct Target {
  std::string group;
  std::string category;  // empty: not given
};

bool ReadCategory(uint32_t request, std::string& category) {
  char text[BYOD_ATTR_SIZE] = "";
  if (TLV_GetIteratorByType(request, BYOD_TLV_DEVTYPE) != 0 &&
      BYOD_tlv_GetStrValueByType(request, BYOD_TLV_DEVTYPE, sizeof text, text) != 0) {
    return false;
  }
  category = text;
  return true;
}

Result ReadTarget(uint32_t request, Target& target) {
  if (!ReadGroup(request, target.group)) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a group has a name of at most 32 characters");
  }
  if (!ReadCategory(request, target.category)) {
    return Refused(BYOD_REFUSAL_MALFORMED, "a category has at most 63 characters");
  }
  return {};
}

/// The sets that existed when the request arrived; those deleted since are skipped.
class SetSeries : public Series {
 public:
  explicit SetSeries(const Authorization& authorization) : authorization_(authorization) {}

  void Add(const std::string& group, const std::string& category) {
    sets_.emplace_back(group, category);
  }
  bool Empty() const { return sets_.empty(); }

  bool Next(Pieces& pieces, bool& more) override {
    for (; next_ < sets_.size() && !pieces.Full(); ++next_) {
      const auto& [group, category] = sets_[next_];
      const Attributes* const attributes = authorization_.Find(group, category);
      if (attributes == nullptr) continue;
      const tlv::Message set = EncodeSet(group, category, *attributes);
      if (!set || !pieces.AddNested(BYOD_EXT_AUTHORIZATION, set.get())) return false;
    }
    more = next_ < sets_.size();
    return true;
  }

 private:
  const Authorization& authorization_;
  std::vector<std::pair<std::string, std::string>> sets_;
  size_t next_ = 0;
};

bool FitsRecord(const Attributes& attributes) {
  const tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  AppendAttributes(append, attributes);
  return append.status() == 0 && TLV_GetMsgLen(message.get(), tlv::kMemory) <= kMessageMax;
}

/// Stores and applies a set for several categories, all or none.
Result Put(State& state, const std::string& group, const std::vector<std::string>& categories,
           const std::optional<Attributes>& attributes) {
  if (!state.store.Ready()) return state.store.NotSaved();
  Authorization::Draft draft(state.authorization, group);
  for (const std::string& category : categories) {
    state.bulk.Remember(state.authorization, group, category);
    draft.Put(category, attributes);
  }
  // The library removes and inserts: two writes for one set.
  const bool saved = state.bulk.Open() || state.store.WriteTogether([&] {
    uint32_t failed = 0;
    for (const std::string& category : categories)
      failed |= StoreSet(group, category, attributes ? &*attributes : nullptr);
    return failed;
  });
  if (!saved) return state.store.NotSaved();
  state.authorization.Exchange(draft);
  return {};
}

bool HasName(const Attributes& attributes, const std::string& name) {
  return std::any_of(attributes.begin(), attributes.end(),
                     [&](const auto& pair) { return pair.first == name; });
}

/// Merges pairs into a set. A name gets all values that are given for it, in their order, or keeps
/// its own; names stay in the order in which they first appeared.
Attributes Merge(const Attributes& present, const Attributes& given) {
  Attributes merged;
  const auto add_values = [&](const std::string& name) {
    if (HasName(merged, name)) return;
    const Attributes& source = HasName(given, name) ? given : present;
    std::copy_if(source.begin(), source.end(), std::back_inserter(merged),
                 [&](const auto& pair) { return pair.first == name; });
  };
  for (const auto& pair : present)
    add_values(pair.first);
  for (const auto& pair : given)
    add_values(pair.first);
  return merged;
}

Result TooLarge() {
  return Refused(BYOD_REFUSAL_MALFORMED, "the set is too large");
}

Result Set(State& state, const Target& target, const Attributes& given) {
  // All given pairs are kept: if they are too large alone, merging is of no use.
  if (!FitsRecord(given)) return TooLarge();
  const std::string category = target.category.empty() ? BYOD_EXT_ANY_TYPE : target.category;
  const Attributes* const present = state.authorization.Find(target.group, category);
  Attributes attributes = Merge(present != nullptr ? *present : Attributes(), given);
  if (present != nullptr && attributes == *present) return NoChange();
  if (!FitsRecord(attributes)) return TooLarge();
  return Put(state, target.group, {category}, std::move(attributes));
}

Result NotFound() {
  return Refused(BYOD_REFUSAL_NOT_FOUND, "no such authorization set");
}

Result UnsetNames(State& state, const Target& target, const Attributes& names) {
  const std::string category = target.category.empty() ? BYOD_EXT_ANY_TYPE : target.category;
  const Attributes* const present = state.authorization.Find(target.group, category);
  if (present == nullptr) return NotFound();
  Attributes remaining;
  for (const auto& pair : *present) {
    const bool named = std::any_of(names.begin(), names.end(),
                                   [&](const auto& name) { return name.first == pair.first; });
    if (!named) remaining.push_back(pair);
  }
  if (remaining.size() == present->size()) return NotFound();
  if (remaining.empty()) return Put(state, target.group, {category}, std::nullopt);
  return Put(state, target.group, {category}, std::move(remaining));
}

Result UnsetSets(State& state, const Target& target) {
  const auto sets = state.authorization.groups().find(target.group);
  if (sets == state.authorization.groups().end()) return NotFound();
  std::vector<std::string> categories;
  for (const auto& [category, attributes] : sets->second) {
    if (target.category.empty() || target.category == category) categories.push_back(category);
  }
  if (categories.empty()) return NotFound();
  return Put(state, target.group, categories, std::nullopt);
}

/// Reads the names of an undo, which have no values.
bool ReadNames(uint32_t request, Attributes& names) {
  for (uintptr_t element = TLV_GetFirst(request); element != 0;
       element = TLV_GetNext(request, element)) {
    if (TLV_GetTypeByIterator(request, element) != BYOD_EXT_ATTR_NAME) continue;
    char name[BYOD_EXT_ATTR_NAME_SIZE];
    const uint16_t length = TLV_GetLenByIterator(request, element);
    if (length == 0 || length > sizeof name) return false;
    if (TLV_GetValueByIterator(request, element, length, name) != 0) return false;
    name[length - 1] = '\0';
    names.emplace_back(name, "");
  }
  return true;
}

}  // namespace

bool ReadGroup(uint32_t request, std::string& group) {
  char text[BYOD_EXT_GROUP_SIZE] = "";
  if (TLV_GetIteratorByType(request, BYOD_EXT_GROUP) != 0 &&
      BYOD_tlv_GetStrValueByType(request, BYOD_EXT_GROUP, sizeof text, text) != 0) {
    return false;
  }
  group = text;
  return true;
}

Result ShowAuthorization(Exchange& exchange) {
  Target target;
  if (Result read = ReadTarget(exchange.request, target); !read.Ok()) return read;
  const Authorization& authorization = exchange.state.authorization;
  auto series = std::make_unique<SetSeries>(authorization);
  for (const auto& [group, sets] : authorization.groups()) {
    if (!target.group.empty() && target.group != group) continue;
    for (const auto& [category, attributes] : sets) {
      if (target.category.empty() || target.category == category) series->Add(group, category);
    }
  }
  // An empty listing is fine, but a group that is named must exist.
  if (series->Empty() && !target.group.empty()) return NotFound();
  exchange.series = std::move(series);
  return {};
}

Result ChangeAuthorization(Exchange& exchange) {
  Target target;
  if (Result read = ReadTarget(exchange.request, target); !read.Ok()) return read;
  if (target.group.empty()) return Refused(BYOD_REFUSAL_MALFORMED, "the group is missing");
  Attributes given;
  const bool set = exchange.operation == BYOD_OP_SET;
  const bool readable =
      set ? ReadAttributes(exchange.request, given) : ReadNames(exchange.request, given);
  if (!readable || (set && given.empty())) {
    return Refused(BYOD_REFUSAL_MALFORMED,
                   "names of at most 63 and values of at most 255 characters are needed");
  }
  if (set) return Set(exchange.state, target, given);
  if (!given.empty()) return UnsetNames(exchange.state, target, given);
  return UnsetSets(exchange.state, target);
}

}  // namespace byod::lauthd
