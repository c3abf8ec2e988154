// SPDX-License-Identifier: Apache-2.0
#include "byodctl/command_line/meant_command.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "byodctl/command_line/command.h"
#include "byodctl/text/word_list.h"
#include "text/nearest_word.h"

namespace byod::ctl {
namespace {

/// The word of other programs for one of ours.
struct Synonym {
  const char* word;
  const char* ours;
};

constexpr Synonym kVerbSynonyms[] = {
    {"list", "show"},         {"ls", "show"},         {"get", "show"},
    {"display", "show"},      {"print", "show"},      {"view", "show"},
    {"cat", "show"},          {"add", "set"},         {"new", "set"},
    {"create", "set"},        {"make", "set"},        {"insert", "set"},
    {"change", "set"},        {"modify", "set"},      {"edit", "set"},
    {"update", "set"},        {"put", "set"},         {"assign", "set"},
    {"delete", "unset"},      {"del", "unset"},       {"remove", "unset"},
    {"rm", "unset"},          {"clear", "unset"},     {"reset", "unset"},
    {"undo", "unset"},        {"drop", "unset"},      {"forget", "unset"},
    {"no", "unset"},          {"lookup", "identify"}, {"find", "identify"},
    {"query", "identify"},    {"detect", "identify"}, {"whatis", "identify"},
    {"classify", "identify"}, {"monitor", "watch"},   {"follow", "watch"},
    {"tail", "watch"},        {"listen", "watch"},    {"save", "backup"},
    {"dump", "export"},       {"load", "import"},     {"recover", "restore"},
    {"refresh", "reload"},    {"reread", "reload"},   {"lint", "check"},
    {"validate", "check"},    {"verify", "check"},    {"test", "check"},
    {"version", "--version"}};

constexpr Synonym kNounSynonyms[] = {{"state", "status"},
                                     {"stats", "status"},
                                     {"health", "status"},
                                     {"info", "status"},
                                     {"version", "status"},
                                     {"statistics", "counts"},
                                     {"number", "counts"},
                                     {"methods", "order"},
                                     {"priority", "order"},
                                     {"unidentified", "unknown"},
                                     {"permissions", "authorization"},
                                     {"rights", "authorization"},
                                     {"groups", "authorization"}};

std::string MeaningOf(std::string_view word, std::span<const Synonym> synonyms) {
  const auto found =
      std::ranges::find_if(synonyms, [&](const Synonym& synonym) { return word == synonym.word; });
  return found != synonyms.end() ? found->ours : "";
}

/// @return one of the words by its meaning, then by its spelling; empty = none
std::string MeantWord(const std::string& wrong, const Words& words,
                      std::span<const Synonym> synonyms) {
  if (Contains(words, wrong)) return wrong;
  const std::string meaning = MeaningOf(wrong, synonyms);
  // The meaning may be an option, --version.
  if (meaning.starts_with('-') || Contains(words, meaning)) return meaning;
  return text::NearestWord(wrong, words);
}

Words AllNouns() {
  Words nouns;
  for (const Command& command : Commands()) {
    if (command.noun != nullptr && !Contains(nouns, command.noun)) nouns.emplace_back(command.noun);
  }
  return nouns;
}

/// The verb for a noun without one: users look more often than they change.
std::string UsualVerbOf(const std::string& noun) {
  for (const char* const verb : {"show", "check", "set"}) {
    if (Contains(NounsOf(verb), noun)) return verb;
  }
  return {};
}

struct Meant {
  std::string verb;
  std::string noun;
  bool uses_second = false;  ///< the second word is part of the suggestion
};

/// A noun as the first word: `status`, `rules list`.
Meant MeantByNoun(const std::string& first, const std::string& second) {
  Meant meant;
  meant.noun = MeantWord(first, AllNouns(), kNounSynonyms);
  if (meant.noun.empty()) return meant;
  const std::string verb = MeantWord(second, Verbs(), kVerbSynonyms);
  const std::string noun = MeantWord(meant.noun, NounsOf(verb), kNounSynonyms);
  if (noun.empty()) {
    meant.verb = UsualVerbOf(meant.noun);
    return meant;
  }
  return {verb, noun, true};
}

Meant MeantByVerb(const std::string& first, const std::string& second) {
  Meant meant;
  meant.verb = MeantWord(first, Verbs(), kVerbSynonyms);
  const Words nouns = NounsOf(meant.verb);
  if (nouns.empty()) return meant;
  meant.noun = MeantWord(second, nouns, kNounSynonyms);
  meant.uses_second = !meant.noun.empty();
  // Only one command begins with this verb.
  if (meant.noun.empty() && nouns.size() == 1) meant.noun = nouns.front();
  return meant;
}

Meant MeantCommand(const std::string& first, const std::string& second) {
  // A correct noun is better evidence than a misspelt verb.
  if (!Contains(Verbs(), first) && MeaningOf(first, kVerbSynonyms).empty()) {
    const bool is_noun = Contains(AllNouns(), first) || !MeaningOf(first, kNounSynonyms).empty();
    if (is_noun || text::NearestWord(first, Verbs()).empty()) return MeantByNoun(first, second);
  }
  return MeantByVerb(first, second);
}

}  // namespace

std::string UnknownCommand(const std::string& first, const std::string& second) {
  const Meant meant = MeantCommand(first, second);
  const bool is_verb = Contains(Verbs(), first);
  const bool quotes_second = !second.empty() && (meant.uses_second || is_verb);
  std::string message = "unknown command \"" + first + (quotes_second ? ' ' + second : "") + '"';
  if (meant.verb.empty()) return message + "; see byodctl --help";
  if (is_verb && meant.noun.empty()) {
    return message + "; \"" + first + "\" goes with one of: " + Listed(NounsOf(first));
  }
  return message + "; did you mean \"" + meant.verb + (meant.noun.empty() ? "" : ' ' + meant.noun) +
         "\"?";
}

}  // namespace byod::ctl
