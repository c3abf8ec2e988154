// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/mac_rule_set.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "data/internal.h"
#include "lauth_avl.h"
#include "lauthd/state/device_info.h"
#include "lauthd/state/origin.h"
#include "lauthd/state/rule_position.h"
#include "net/mac_address.h"
#include "rulefiles/disjoint_prefixes.h"

namespace byod::lauthd {
namespace {

using Rule = MacRuleSet::Rule;
using Prefix = MacRuleSet::Prefix;

// The library treats every origin but the custom one alike: no limit, and not counted as custom.
constexpr uint32_t kPieceOrigin = 2;

bool IsPiece(const Rule& rule) {
  return rule.origin == kPieceOrigin;
}

ByodMacTable& Table() {
  return *BYOD_data_GetMacRuleTbl();
}

Rule* NextInTable(Rule* rule) {
  return static_cast<Rule*>(AVL_GetNext(Table().tree, rule));
}

Prefix PlaceOf(const Rule& rule) {
  return MacRuleSet::PlaceOf(rule);
}

void SetBlock(Rule& rule, const Prefix& block) {
  std::ranges::copy(block.Mac(), rule.mac);
  std::ranges::copy(block.Mask(), rule.mask);
}

/// A search that remembers the nearest rule behind a place.
struct Seek {
  Prefix place;
  mutable Rule* behind = nullptr;
};

int CompareToSeek(const void* record, const void* probe) {
  const auto* const rule = static_cast<const Rule*>(record);
  const auto* const seek = static_cast<const Seek*>(probe);
  if (PlaceOf(*rule) <= seek->place) return -1;
  seek->behind = const_cast<Rule*>(rule);
  return 1;
}

/// @return the first rule or piece of the table behind a place
Rule* BehindInTable(const Prefix& place) {
  const Seek seek = {place};
  AVL_Get(Table().tree, &seek, CompareToSeek);
  return seek.behind;
}

Rule* FirstInTable(const Prefix& block) {
  return BehindInTable({block.address, 0});
}

Rule* InTableAt(uint64_t address) {
  Rule probe = {};
  SetBlock(probe, {address, 48});
  return BYOD_data_FindMacRule(&probe);
}

/// Calls take(rule) for each rule and piece of the table that begins in a block; take may release
/// it.
template <typename Take>
void ForEachInTable(const Prefix& block, Take take) {
  const uint64_t last = block.Last();
  for (Rule* rule = FirstInTable(block); rule != nullptr && PlaceOf(*rule).address <= last;) {
    Rule* const next = NextInTable(rule);
    take(rule);
    rule = next;
  }
}

/// Releases a piece, whose information belongs to its rule.
void DeletePiece(Rule* piece) {
  piece->predefined = nullptr;
  piece->configured = nullptr;
  BYOD_DeleteMacRule(piece);
}

/// The other half of the block that is one bit shorter.
Prefix Sibling(const Prefix& block) {
  return {block.address ^ uint64_t{1} << (48 - block.bits), block.bits};
}

Prefix Whole(const Prefix& block) {
  return net::MakePrefix(block.address, block.bits - 1);
}

}  // namespace

std::optional<Prefix> BlockOf(const ByodMacRule& rule) {
  const Prefix place = PlaceOf(rule);
  if (place.bits == 0 || !std::ranges::equal(place.Mask(), rule.mask)) return std::nullopt;
  return place;
}

Prefix MacRuleSet::PlaceOf(const Rule& rule) {
  const uint64_t mask = net::LoadMac(rule.mask);
  return {net::LoadMac(rule.mac) & mask, static_cast<unsigned>(std::popcount(mask))};
}

Prefix MacRuleSet::PlaceOfKey(const Rule& key) {
  const Prefix place = PlaceOf(key);
  // An address without a mask.
  if (place.bits == 0 && net::LoadMac(key.mac) != 0) return {net::LoadMac(key.mac), 48};
  return place;
}

MacRuleSet& MacRuleSet::Get() {
  static MacRuleSet set;
  return set;
}

MacRuleSet::OwnedRule MacRuleSet::AllocRule() {
  OwnedRule rule(BYOD_data_AllocMacRule());
  if (!rule) throw std::bad_alloc();
  return rule;
}

std::vector<MacRuleSet::OwnedRule> MacRuleSet::AllocPieces(const std::vector<Prefix>& blocks) {
  std::vector<OwnedRule> pieces;
  pieces.reserve(blocks.size());
  for (const Prefix& block : blocks) {
    OwnedRule piece = AllocRule();
    piece->origin = kPieceOrigin;
    SetBlock(*piece, block);
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

/// The library passes over an empty text, so an empty record is as good as none.
void MacRuleSet::Share(Rule& piece, Carved& owner) {
  piece.predefined = owner.rule->predefined;
  piece.configured = &owner.configured;
}

/// The pieces are disjoint from everything in the table, so each finds its place.
void MacRuleSet::AddPieces(std::vector<OwnedRule> pieces, Carved& owner) {
  for (OwnedRule& piece : pieces) {
    Share(*piece, owner);
    Byod_AddMacRule(piece.release());
  }
}

MacRuleSet::CarvedMap::const_iterator MacRuleSet::FindCarved(const Rule& rule) const {
  if (carved_.empty()) return carved_.end();
  const auto block = BlockOf(rule);
  return block ? carved_.find(*block) : carved_.end();
}

/// @return the smallest block with at most so many bits that holds a block and is kept beside the
///         table
MacRuleSet::CarvedMap::const_iterator MacRuleSet::Owner(const Prefix& block,
                                                        unsigned most_bits) const {
  for (unsigned bits = std::min(block.bits, most_bits); bits > 0; --bits) {
    if (carved_of_length_[bits] == 0) continue;
    const auto found = carved_.find(net::MakePrefix(block.address, bits));
    if (found != carved_.end()) return found;
  }
  return carved_.end();
}

MacRuleSet::CarvedMap::iterator MacRuleSet::Owner(const Prefix& block, unsigned most_bits) {
  const auto owner = std::as_const(*this).Owner(block, most_bits);
  return carved_.erase(owner, owner);  // nothing: this is the same place, to be changed
}

/// Calls take(piece) for each piece of a rule that lies in a block; take may release it.
template <typename Take>
void MacRuleSet::ForEachPiece(CarvedMap::iterator owner, const Prefix& block, Take take) {
  ForEachInTable(block, [&](Rule* rule) {
    if (IsPiece(*rule) && Owner(PlaceOf(*rule), 48) == owner) take(rule);
  });
}

MacRuleSet::CarvedMap::iterator MacRuleSet::InsertCarved(const Prefix& block, Rule* rule,
                                                         uint32_t holes) {
  const ByodDeviceInfo* const info = rule->configured;
  const auto inserted =
      carved_.try_emplace(block, Carved{rule, holes, info != nullptr ? *info : ByodDeviceInfo()})
          .first;
  ++carved_of_length_[block.bits];
  return inserted;
}

void MacRuleSet::EraseCarved(CarvedMap::iterator carved) {
  --carved_of_length_[carved->first.bits];
  carved_.erase(carved);
}

Rule* MacRuleSet::Find(const Rule& key) const {
  if (Rule* const rule = BYOD_data_SetFindMacRule(&key); rule != nullptr && !IsPiece(*rule)) {
    return rule;
  }
  const auto carved = FindCarved(key);
  return carved != carved_.end() ? carved->second.rule : nullptr;
}

Rule* MacRuleSet::Covering(const Rule& probe) const {
  Rule* const rule = BYOD_data_FindMacRule(&probe);
  if (rule == nullptr || !IsPiece(*rule)) return rule;
  return Owner(PlaceOf(*rule), 48)->second.rule;
}

Rule* MacRuleSet::First() const {
  auto* rule = static_cast<Rule*>(AVL_GetLeftMost(Table().tree));
  while (rule != nullptr && IsPiece(*rule))
    rule = NextInTable(rule);
  return Earlier(rule, carved_.begin());
}

Rule* MacRuleSet::Next(const Rule& rule) const {
  if (carved_.empty()) return NextInTable(const_cast<Rule*>(&rule));
  return After(rule);
}

Rule* MacRuleSet::After(const Rule& key) const {
  const Prefix place = PlaceOfKey(key);
  Rule* rule = BehindInTable(place);
  while (rule != nullptr && IsPiece(*rule))
    rule = NextInTable(rule);
  return Earlier(rule, carved_.upper_bound(place));
}

/// @return which of a rule of the table and one beside it comes first; either may be missing
Rule* MacRuleSet::Earlier(Rule* rule, CarvedMap::const_iterator carved) const {
  if (carved == carved_.end()) return rule;
  return rule == nullptr || carved->first < PlaceOf(*rule) ? carved->second.rule : rule;
}

bool MacRuleSet::Before(const Rule& rule, const Rule& key) {
  return PlaceOf(rule) < PlaceOf(key);
}

uint32_t MacRuleSet::Count() const {
  return BYOD_data_GetMacRuleCount() - pieces_ + static_cast<uint32_t>(carved_.size());
}

uint32_t MacRuleSet::HolesIn(const Rule& rule) const {
  const auto carved = FindCarved(rule);
  return carved != carved_.end() ? carved->second.holes : 0;
}

const Rule* MacRuleSet::Named(const uint8_t (&mac)[BYOD_MAC_SIZE]) const {
  const auto has_name = [&](const Rule& rule) {
    return IsConfigured(rule.origin, rule.modified) && std::memcmp(rule.mac, mac, sizeof mac) == 0;
  };
  const uint64_t address = net::LoadMac(mac);
  const Rule* const at = InTableAt(address);
  if (at != nullptr && !IsPiece(*at) && has_name(*at)) return at;
  for (unsigned bits = 48; bits > 0; --bits) {
    if (carved_of_length_[bits] == 0) continue;
    const auto carved = carved_.find(net::MakePrefix(address, bits));
    if (carved != carved_.end() && has_name(*carved->second.rule)) return carved->second.rule;
  }
  return nullptr;
}

Rule* MacRuleSet::Add(const Rule& key, uint32_t& err) {
  err = BYOD_ERR_FAILED;
  OwnedRule rule(BYOD_data_AllocMacRule());
  if (!rule) return nullptr;
  std::memcpy(rule->mac, key.mac, sizeof rule->mac);
  std::memcpy(rule->mask, key.mask, sizeof rule->mask);
  rule->origin = BYOD_RULE_CUSTOM;
  err = Byod_AddMacRule(rule.get());
  if (err == 0) return rule.release();
  // The limit is checked before the table is searched, so what is left is an overlap.
  if (err == BYOD_ERR_RULE_LIMIT) return nullptr;
  try {
    err = 0;
    Rule* const added = AddOverlapping(rule.get(), err);
    if (added == rule.get()) rule.release();
    return added;
  } catch (const std::bad_alloc&) {
    err = BYOD_ERR_FAILED;
    return nullptr;
  }
}

/// @return how many rules more would lie within others with one more rule of this block
uint32_t MacRuleSet::MoreHoles(const Prefix& block) const {
  const Rule* const at = InTableAt(block.address);
  const bool is_within = (at != nullptr && PlaceOf(*at).Contains(block)) ||
                         Owner(block, block.bits - 1) != carved_.end();
  return is_within ? 1 : CountTopLevel(block);
}

bool MacRuleSet::HasRoomFor(const Prefix& block) const {
  const uint32_t more = MoreHoles(block);
  return more <= limit_ && holes_ <= limit_ - more;
}

/// @param spare  the new rule, not in the table; taken only if it is what is returned
Rule* MacRuleSet::AddOverlapping(Rule* spare, uint32_t& err) {
  const auto block = BlockOf(*spare);
  if (block && !HasRoomFor(*block)) {
    err = kErrCarvedLimit;
    return nullptr;
  }
  if (block) {
    Rule* const whole = InTableAt(block->address);
    const auto whole_block = whole != nullptr ? BlockOf(*whole) : std::nullopt;
    if (whole_block && whole_block->Contains(*block)) return Cut(whole, *spare);
    if (whole == nullptr || whole_block) return Surround(spare, err);
  }
  err = kErrBadBlock;
  return nullptr;
}

/// Cuts a block out of a rule, or a piece of one. Its record becomes the new rule, which stands
/// where it stood in the tree, so that nothing has to be taken out.
Rule* MacRuleSet::Cut(Rule* whole, const Rule& key) {
  const Prefix block = PlaceOf(key);
  const Prefix whole_block = PlaceOf(*whole);
  auto pieces = AllocPieces(rulefiles::Without(whole_block, {&block, 1}));
  auto added = static_cast<uint32_t>(pieces.size());
  const bool is_piece = IsPiece(*whole);
  auto owner = is_piece ? Owner(whole_block, 48) : carved_.end();
  if (!is_piece) {
    OwnedRule beside = AllocRule();
    owner = InsertCarved(whole_block, whole, 0);
    std::memcpy(beside->mac, whole->mac, sizeof beside->mac);
    std::memcpy(beside->mask, whole->mask, sizeof beside->mask);
    beside->origin = whole->origin;
    beside->modified = whole->modified;
    beside->predefined = whole->predefined;
    beside->configured = whole->configured;
    owner->second.rule = beside.get();
    RulePosition<Rule>::Move(whole, beside.release());
  } else {
    --added;
  }
  std::memcpy(whole->mac, key.mac, sizeof whole->mac);
  std::memcpy(whole->mask, key.mask, sizeof whole->mask);
  whole->origin = BYOD_RULE_CUSTOM;
  whole->modified = 0;
  whole->predefined = nullptr;
  whole->configured = nullptr;
  ++Table().custom_count;
  AddPieces(std::move(pieces), owner->second);
  pieces_ += added;
  ++owner->second.holes;
  ++holes_;
  return whole;
}

/// @return how many rules in a block lie in no other rule in it
uint32_t MacRuleSet::CountTopLevel(const Prefix& block) const {
  uint32_t count = 0;
  Rule before = {};
  SetBlock(before, block);
  uint64_t last = 0;
  for (const Rule* rule = After(before); rule != nullptr; rule = After(*rule)) {
    const Prefix place = PlaceOf(*rule);
    if (!block.Contains(place)) break;
    if (count > 0 && place.address <= last) continue;
    last = place.Last();
    ++count;
  }
  return count;
}

/// Adds a rule around others: it gets what they leave over.
Rule* MacRuleSet::Surround(Rule* rule, uint32_t& err) {
  const Prefix block = PlaceOf(*rule);
  const auto parent = Owner(block, block.bits - 1);
  std::vector<Prefix> inside;
  bool are_prefixes = true;
  ForEachInTable(block, [&](const Rule* other) {
    are_prefixes = are_prefixes && BlockOf(*other).has_value();
    inside.push_back(PlaceOf(*other));
  });
  if (!are_prefixes) {
    err = kErrBadBlock;
    return nullptr;
  }
  const uint32_t holes = CountTopLevel(block);
  // What a rule around the new one has here is what the smaller ones leave over.
  std::vector<Rule*> taken;
  std::vector<OwnedRule> made;
  if (parent != carved_.end()) {
    ForEachPiece(parent, block, [&](Rule* piece) { taken.push_back(piece); });
  } else {
    made = AllocPieces(rulefiles::Without(block, inside));
  }
  Carved& carved = InsertCarved(block, rule, holes)->second;
  for (Rule* const piece : taken)
    Share(*piece, carved);
  pieces_ += static_cast<uint32_t>(made.size());
  AddPieces(std::move(made), carved);
  if (parent != carved_.end()) parent->second.holes -= holes - 1;
  holes_ += parent != carved_.end() ? 1 : holes;
  ++Table().custom_count;
  return rule;
}

void MacRuleSet::Remove(Rule* rule) {
  const auto block = BlockOf(*rule);
  if (!block || carved_.empty()) return BYOD_DeleteMacRule(rule);
  const auto carved = carved_.find(*block);
  if (carved != carved_.end()) return RemoveCarved(carved);
  const auto parent = Owner(*block, block->bits - 1);
  if (parent == carved_.end()) return BYOD_DeleteMacRule(rule);
  RemoveHole(rule, *block, parent);
}

/// Removes a rule with others in it, which stay.
void MacRuleSet::RemoveCarved(CarvedMap::iterator carved) {
  const Prefix block = carved->first;
  const auto parent = Owner(block, block.bits - 1);
  ForEachPiece(carved, block, [&](Rule* piece) {
    if (parent != carved_.end()) {
      Share(*piece, parent->second);
    } else {
      DeletePiece(piece);
      --pieces_;
    }
  });
  if (parent != carved_.end()) {
    parent->second.holes += carved->second.holes - 1;
    --holes_;
  } else {
    holes_ -= carved->second.holes;
  }
  if (carved->second.rule->origin == BYOD_RULE_CUSTOM) --Table().custom_count;
  BYOD_data_FreeMacRule(carved->second.rule);
  EraseCarved(carved);
}

/// Removes a rule without others in it, cut out of a larger one, which gets the block back. Pieces
/// beside it that make a larger block with it go into that one.
void MacRuleSet::RemoveHole(Rule* rule, const Prefix& block, CarvedMap::iterator parent) {
  Prefix merged = block;
  while (merged != parent->first) {
    Rule* const sibling = InTableAt(Sibling(merged).address);
    if (sibling == nullptr || !IsPiece(*sibling) || PlaceOf(*sibling) != Sibling(merged)) break;
    DeletePiece(sibling);
    --pieces_;
    merged = Whole(merged);
  }
  --parent->second.holes;
  --holes_;
  if (merged != parent->first) return BecomePiece(rule, merged, parent->second);
  BYOD_DeleteMacRule(rule);
  PutBack(parent);
}

/// A piece stands where the rule stood: nothing lies between what it takes in.
void MacRuleSet::BecomePiece(Rule* rule, const Prefix& block, Carved& owner) {
  if (rule->origin == BYOD_RULE_CUSTOM) --Table().custom_count;
  const OwnedInfo predefined(rule->predefined);
  const OwnedInfo configured(rule->configured);
  SetBlock(*rule, block);
  rule->origin = kPieceOrigin;
  rule->modified = 0;
  Share(*rule, owner);
  ++pieces_;
}

/// Nothing lies in the rule any more: it goes back into the table.
void MacRuleSet::PutBack(CarvedMap::iterator carved) {
  Rule* const rule = carved->second.rule;
  EraseCarved(carved);
  // It was counted all the time, and must not meet the limit.
  if (rule->origin == BYOD_RULE_CUSTOM) --Table().custom_count;
  Byod_AddMacRule(rule);
}

void MacRuleSet::ShareInfo(const Rule& rule) {
  if (carved_.empty()) return;
  const auto block = BlockOf(rule);
  const auto carved = block ? carved_.find(*block) : carved_.end();
  if (carved == carved_.end()) return;
  carved->second.configured = rule.configured != nullptr ? *rule.configured : ByodDeviceInfo();
}

void MacRuleSet::Clear() {
  for (Rule* rule = FirstInTable({0, 1}); pieces_ > 0 && rule != nullptr;) {
    Rule* const next = NextInTable(rule);
    if (IsPiece(*rule)) {
      DeletePiece(rule);
      --pieces_;
    }
    rule = next;
  }
  for (const auto& [block, carved] : carved_) {
    if (carved.rule->origin == BYOD_RULE_CUSTOM) --Table().custom_count;
    BYOD_data_FreeMacRule(carved.rule);
  }
  carved_.clear();
  carved_of_length_ = {};
  holes_ = 0;
}

}  // namespace byod::lauthd
