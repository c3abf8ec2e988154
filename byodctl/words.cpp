#include "byodctl/words.h"

#include <algorithm>

#include "byodctl/command.h"

namespace byod::ctl {
namespace {

/// The options that take a value and may stand in front of the verb or noun.
bool TakesValue(const std::string& option) {
  return option == "--socket" || option == "--timeout";
}

/// The place of the next word that is no option, nor an option's value.
size_t NextWord(const std::vector<std::string>& arguments, size_t from) {
  while (from < arguments.size() && arguments[from].starts_with('-'))
    from += TakesValue(arguments[from]) ? 2 : 1;
  return std::min(from, arguments.size());
}

}  // namespace

std::string FullWord(std::string_view text, const std::vector<std::string>& words) {
  std::vector<std::string> candidates;
  for (const std::string& word : words) {
    if (word == text) return word;
    if (!text.empty() && word.starts_with(text)) candidates.push_back(word);
  }
  if (candidates.empty()) return std::string{text};
  if (candidates.size() == 1) return candidates.front();
  std::string list;
  for (const std::string& candidate : candidates) {
    if (!list.empty()) list += candidate == candidates.back() ? " or " : ", ";
    list += candidate;
  }
  throw Failure(kExitBadInput, '"' + std::string{text} + "\" may be " + list);
}

std::vector<std::string> WithFullCommand(std::vector<std::string> arguments) {
  const size_t verb_at = NextWord(arguments, 0);
  if (verb_at == arguments.size()) return arguments;
  std::vector<std::string> verbs;
  for (const Command& command : Commands()) {
    if (verbs.empty() || verbs.back() != command.verb) verbs.emplace_back(command.verb);
  }
  std::string& verb = arguments[verb_at];
  verb = FullWord(verb, verbs);

  std::vector<std::string> nouns;
  for (const Command& command : Commands()) {
    if (verb == command.verb && command.noun != nullptr) nouns.emplace_back(command.noun);
  }
  const size_t noun_at = NextWord(arguments, verb_at + 1);
  if (!nouns.empty() && noun_at < arguments.size()) {
    arguments[noun_at] = FullWord(arguments[noun_at], nouns);
  }
  return arguments;
}

}  // namespace byod::ctl
