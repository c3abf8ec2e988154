// SPDX-License-Identifier: Apache-2.0
// Lists of words, for messages that name the allowed ones.
#ifndef BYODCTL_TEXT_WORD_LIST_H
#define BYODCTL_TEXT_WORD_LIST_H

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "text/nearest_word.h"

namespace byod::ctl {

using Words = std::vector<std::string>;

inline bool Contains(const Words& words, std::string_view word) {
  return std::ranges::find(words, word) != words.end();
}

/// "mac, user-agent, dhcp-option"
inline std::string Listed(const Words& words) {
  std::string list;
  for (const std::string& word : words)
    list += (list.empty() ? "" : ", ") + word;
  return list;
}

/// The end of a message about a wrong word: the most similar allowed one, or all of them.
inline std::string NearestOrAll(std::string_view wrong, const Words& words) {
  const std::string hint = text::DidYouMean(wrong, words);
  return hint.empty() ? "; one of " + Listed(words) : hint;
}

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_WORD_LIST_H
