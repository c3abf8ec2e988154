// SPDX-License-Identifier: Apache-2.0
// What the rules say of a station, as one text that many stations share.
#ifndef LAUTHD_STATIONS_ANSWER_H
#define LAUTHD_STATIONS_ANSWER_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "byod_data.h"
#include "explain/rule_search.h"

namespace byod::lauthd {

/// An empty text is not known.
struct AnswerView {
  std::string_view vendor;
  std::string_view category;
  std::string_view os;
  std::string_view name;
  std::string_view derived_vendor;
};

/// The fields with a NUL between them; empty when nothing is known.
std::string Pack(const AnswerView& answer);

/// @param packed  of Pack; borrowed
AnswerView Unpack(std::string_view packed);

/// Whether two answers differ in category or operating system, where both say something.
bool Contradict(const AnswerView& a, const AnswerView& b);

/// What the rule that one method found says, packed.
std::string AnswerOf(const explain::Match& match);

/// What the rules say of one User-Agent.
struct AgentAnswer {
  std::string packed;
  uint8_t rule_length = 0;  // of the expression that matched; 0 = none did
};
AgentAnswer AnswerOfAgent(std::string_view user_agent);

/// What the rules say of one option list, packed. @param options  its bytes
std::string AnswerOfOptions(std::string_view options);

/// What the rules say of a whole fingerprint, in the configured order.
struct WholeAnswer {
  std::string packed;
  std::array<std::string, BYOD_METHOD_COUNT> by_method;  // of the methods in the order
};
WholeAnswer AnswerOf(const ByodFingerPrint& fingerprint);

/// @param options  bytes of an option list, perhaps none
ByodFingerPrint FingerPrintOf(std::string_view options, std::string_view user_agent, uint64_t mac);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATIONS_ANSWER_H
