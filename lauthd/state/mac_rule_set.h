// SPDX-License-Identifier: Apache-2.0
// The MAC rules as an administrator sees them: blocks of addresses that may lie within each other,
// the longest prefix answering. The library's table holds no two rules that overlap, so a rule with
// others inside it is kept beside the table, and the table holds pieces of it:
//
//     00:11:20/20 "A" with 00:11:22/24 "B" inside
//  -> the table has 00:11:20/23 "A", 00:11:22/24 "B", 00:11:23/24 "A", 00:11:24/22 "A", ...
//
// All of that follows from the rules alone and is never stored. All pieces of a rule borrow the
// same two records of information, so a change of the rule is a change of all its pieces, however
// many there are.
#ifndef LAUTHD_STATE_MAC_RULE_SET_H
#define LAUTHD_STATE_MAC_RULE_SET_H

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "byod_data.h"
#include "net/prefix.h"

namespace byod::lauthd {

/// Why a rule cannot be added, beside BYOD_ERR_RULE_LIMIT and BYOD_ERR_FAILED for no memory.
enum : uint32_t {
  kErrCarvedLimit = 0xFFFF0001,  // too many rules would lie within others
  kErrBadBlock = 0xFFFF0002      // it overlaps a rule whose mask is not a prefix
};

/// One in a process, as the table is. Before the table is destroyed: Clear.
class MacRuleSet {
 public:
  using Rule = ByodMacRule;
  using Prefix = net::Prefix;

  static constexpr uint32_t kDefaultLimit = 4096;

  static MacRuleSet& Get();

  /// @param limit  rules that may lie within others
  void SetLimit(uint32_t limit) { limit_ = limit; }

  /// Whether that limit allows one more rule of this block.
  bool HasRoomFor(const Prefix& block) const;

  /// @return the rule of this very block, or null
  Rule* Find(const Rule& key) const;

  /// @return the rule that answers for an address, or null. @param probe  with the full mask
  Rule* Covering(const Rule& probe) const;

  /// The rules in the order of their addresses, a larger block before those inside it.
  Rule* First() const;
  Rule* Next(const Rule& rule) const;

  /// @return the first rule behind a block in that order; address and mask of zero: the first rule
  Rule* After(const Rule& key) const;

  /// @return where a rule stands in that order; a mask with gaps counts its bits
  static Prefix PlaceOf(const Rule& rule);

  /// @return behind which place After looks
  static Prefix PlaceOfKey(const Rule& key);

  /// Whether a rule stands before a block in that order.
  static bool Before(const Rule& rule, const Rule& key);

  uint32_t Count() const;

  /// @return how many rules lie directly within a rule's block
  uint32_t HolesIn(const Rule& rule) const;

  /**
   * Adds a custom rule without information; there is none of this block.
   *
   * @return null, with nothing changed, when it cannot be added: why in err
   */
  Rule* Add(const Rule& key, uint32_t& err);

  /// Takes a rule out of the set and releases it; what it was cut out of is whole again. Allocates
  /// nothing.
  void Remove(Rule* rule);

  /// Called after the information of a rule was changed.
  void ShareInfo(const Rule& rule);

  /// @return the configured rule whose address, with the bits that its mask leaves out, is this
  ///         one; null if there is none
  const Rule* Named(const uint8_t (&mac)[BYOD_MAC_SIZE]) const;

  /// Releases all rules that are kept beside the table, and their pieces.
  void Clear();

 private:
  struct Carved {
    Rule* rule;                 // in no table
    uint32_t holes;             // rules directly within it
    ByodDeviceInfo configured;  // what the rule has configured, for its pieces; empty for none
  };
  struct RuleDeleter {
    void operator()(Rule* rule) const { BYOD_data_FreeMacRule(rule); }
  };
  using OwnedRule = std::unique_ptr<Rule, RuleDeleter>;
  // A larger block stands before those inside it.
  using CarvedMap = std::map<Prefix, Carved>;

  static OwnedRule AllocRule();
  static std::vector<OwnedRule> AllocPieces(const std::vector<Prefix>& blocks);
  Rule* AddOverlapping(Rule* spare, uint32_t& err);
  Rule* Cut(Rule* whole, const Rule& key);
  Rule* Surround(Rule* rule, uint32_t& err);
  void RemoveCarved(CarvedMap::iterator carved);
  void RemoveHole(Rule* rule, const Prefix& block, CarvedMap::iterator parent);
  void BecomePiece(Rule* rule, const Prefix& block, Carved& owner);
  void PutBack(CarvedMap::iterator carved);

  CarvedMap::const_iterator Owner(const Prefix& block, unsigned most_bits) const;
  CarvedMap::iterator Owner(const Prefix& block, unsigned most_bits);
  uint32_t MoreHoles(const Prefix& block) const;
  CarvedMap::const_iterator FindCarved(const Rule& rule) const;
  static void Share(Rule& piece, Carved& owner);
  static void AddPieces(std::vector<OwnedRule> pieces, Carved& owner);
  template <typename Take>
  void ForEachPiece(CarvedMap::iterator owner, const Prefix& block, Take take);
  CarvedMap::iterator InsertCarved(const Prefix& block, Rule* rule, uint32_t holes);
  void EraseCarved(CarvedMap::iterator carved);
  Rule* Earlier(Rule* rule, CarvedMap::const_iterator carved) const;
  uint32_t CountTopLevel(const Prefix& block) const;

  CarvedMap carved_;
  std::array<uint32_t, 49> carved_of_length_ = {};
  uint32_t pieces_ = 0;
  uint32_t holes_ = 0;
  uint32_t limit_ = kDefaultLimit;
};

/// @return the block of a rule, or nothing when its mask is not that of a prefix
std::optional<net::Prefix> BlockOf(const ByodMacRule& rule);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_MAC_RULE_SET_H
