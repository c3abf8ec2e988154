// SPDX-License-Identifier: Apache-2.0
#include "byodctl/command_line/abbreviations.h"

#include <algorithm>
#include <cstddef>

#include "byodctl/command_line/command.h"
#include "byodctl/command_line/meant_command.h"
#include "byodctl/text/word_list.h"
#include "text/nearest_word.h"

namespace byod::ctl {
namespace {

constexpr char kHelp[] = "help";
constexpr char kHelpOption[] = "--help";
constexpr char kJsonOption[] = "--json";
constexpr char kTry[] = "try";
constexpr char kTerminalsOption[] = "--terminals";

/// The options that may precede the command.
struct GlobalOption {
  const char* name;
  bool takes_value;
};
constexpr GlobalOption kGlobalOptions[] = {{"--socket", true}, {"--timeout", true},
                                           {"--help", false},  {"-h", false},
                                           {"--json", false},  {"--version", false}};

bool IsOption(const std::string& argument) {
  return argument.size() > 1 && argument.starts_with('-');
}

/// @return the global option that an argument is, with or without `=VALUE`
const GlobalOption& GlobalOptionOf(const std::string& argument) {
  const std::string name = argument.substr(0, argument.find('='));
  const auto* const found = std::ranges::find_if(
      kGlobalOptions, [&](const GlobalOption& option) { return name == option.name; });
  if (found != std::end(kGlobalOptions)) return *found;
  Words names;
  for (const GlobalOption& option : kGlobalOptions)
    names.emplace_back(option.name);
  std::string hint = text::DidYouMean(name, names);
  if (hint.empty()) hint = "; a command's own options follow its words";
  throw Failure(kExitBadInput, "unknown option \"" + name + "\" before the command" + hint);
}

/// The index of the next word that is neither an option nor an option's value.
size_t NextWord(const Words& arguments, size_t from) {
  while (from < arguments.size() && IsOption(arguments[from])) {
    const bool has_value = arguments[from].find('=') != std::string::npos;
    const GlobalOption& option = GlobalOptionOf(arguments[from]);
    from += option.takes_value && !has_value ? 2 : 1;
    if (from > arguments.size()) {
      throw Failure(kExitBadInput, std::string{option.name} + " needs a value");
    }
  }
  return from;
}

Words::iterator At(Words& arguments, size_t place) {
  return arguments.begin() + static_cast<std::ptrdiff_t>(place);
}

bool AsksForHelp(const Words& arguments) {
  return std::ranges::any_of(arguments, [](const std::string& argument) {
    return argument == kHelpOption || argument == "-h" || argument == "--version";
  });
}

void CompleteVerb(Words& arguments, size_t at) {
  std::string& verb = arguments[at];
  verb = FullWord(verb, Verbs());
  if (Contains(Verbs(), verb)) return;
  const size_t next = NextWord(arguments, at + 1);
  throw Failure(kExitBadInput,
                UnknownCommand(verb, next < arguments.size() ? arguments[next] : ""));
}

/// @return the index after the command's words
size_t CompleteNoun(Words& arguments, size_t verb_at) {
  const std::string& verb = arguments[verb_at];
  const Words nouns = NounsOf(verb);
  if (nouns.empty()) return verb_at + 1;
  const size_t at = NextWord(arguments, verb_at + 1);
  if (at == arguments.size()) {
    if (AsksForHelp(arguments)) return at;
    throw Failure(kExitBadInput,
                  "incomplete command \"" + verb + "\"; follow it with one of: " + Listed(nouns));
  }
  std::string& noun = arguments[at];
  noun = noun == kHelp ? kHelpOption : FullWord(noun, nouns);
  if (noun != kHelpOption && !Contains(nouns, noun)) {
    throw Failure(kExitBadInput, UnknownCommand(verb, noun));
  }
  return at + 1;
}

/// Moves a --json before the command's words after them, where the command declares it.
void MoveJson(Words& arguments, size_t words_end) {
  const auto end = At(arguments, words_end);
  const auto kept = std::remove(arguments.begin(), end, kJsonOption);
  if (kept == end) return;
  *kept = kJsonOption;
  arguments.erase(kept + 1, end);
}

/// The command that try runs is not for this parser: its words are kept together behind "--".
void SeparateTriedCommand(Words& arguments, size_t from) {
  while (from < arguments.size() && IsOption(arguments[from])) {
    const std::string& option = arguments[from];
    if (option == "--") return;
    const bool has_value =
        option == kTerminalsOption || option == "--socket" || option == "--timeout";
    from += has_value ? 2 : 1;
  }
  if (from == arguments.size()) return;
  // What try writes counts, not what the command writes.
  const auto begin = At(arguments, from);
  const auto kept = std::remove(begin, arguments.end(), kJsonOption);
  const bool has_json = kept != arguments.end();
  arguments.erase(kept, arguments.end());
  arguments.insert(At(arguments, from), "--");
  if (has_json) arguments.insert(At(arguments, from), kJsonOption);
}

}  // namespace

std::string FullWord(std::string_view text, const Words& words) {
  Words candidates;
  for (const std::string& word : words) {
    if (word == text) return word;
    if (!text.empty() && word.starts_with(text)) candidates.push_back(word);
  }
  if (candidates.empty()) return std::string{text};
  if (candidates.size() == 1) return candidates.front();
  std::ranges::sort(candidates);
  throw Failure(kExitBadInput, '"' + std::string{text} + "\" is ambiguous: " + Listed(candidates));
}

std::vector<std::string> WithFullCommand(Words arguments) {
  const size_t verb_at = NextWord(arguments, 0);
  if (verb_at == arguments.size()) {
    if (AsksForHelp(arguments)) return arguments;
    throw Failure(kExitBadInput, "missing command; see byodctl --help");
  }
  if (arguments[verb_at] == kHelp) {
    arguments.erase(At(arguments, verb_at));
    arguments.emplace_back(kHelpOption);
    return WithFullCommand(std::move(arguments));
  }
  CompleteVerb(arguments, verb_at);
  const bool is_trial = arguments[verb_at] == kTry;
  MoveJson(arguments, CompleteNoun(arguments, verb_at));
  if (is_trial) {
    const auto verb = std::ranges::find(arguments, kTry);
    SeparateTriedCommand(arguments, static_cast<size_t>(verb - arguments.begin()) + 1);
  }
  return arguments;
}

}  // namespace byod::ctl
