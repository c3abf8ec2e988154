// SPDX-License-Identifier: Apache-2.0
#include "first_match_contenders.h"

#include <algorithm>
#include <unordered_map>

#include "ratio_report.h"

namespace byod::bench {
namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::string piece;
  for (const char c : text + separator) {
    if (c != separator) {
      piece += c;
    } else if (!piece.empty()) {
      pieces.push_back(std::move(piece));
      piece.clear();
    }
  }
  return pieces;
}

}  // namespace

Conjunctions::Conjunctions(const std::vector<std::string>& expressions) {
  std::unordered_map<std::string, uint32_t> numbers;
  std::vector<std::vector<std::vector<uint32_t>>> parsed;
  std::vector<uint32_t> uses;
  for (const std::string& expression : expressions) {
    auto& alternatives = parsed.emplace_back();
    for (const std::string& alternative : Split(expression, '|')) {
      auto& terms = alternatives.emplace_back();
      for (const std::string& term : Split(alternative, '&')) {
        const auto number =
            numbers.try_emplace(term, static_cast<uint32_t>(terms_.size())).first->second;
        if (number == terms_.size()) {
          terms_.push_back(term);
          uses.push_back(0);
        }
        ++uses[number];
        terms.push_back(number);
      }
    }
    if (alternatives.empty()) alternatives.emplace_back();
  }
  anchored_.resize(terms_.size());
  seen_.resize(terms_.size());
  found_.reserve(terms_.size());
  for (uint32_t rank = 0; rank < parsed.size(); ++rank) {
    for (const auto& terms : parsed[rank]) {
      if (terms.empty()) {
        always_ = std::min(always_, rank);
        continue;
      }
      const auto rarest =
          *std::min_element(terms.begin(), terms.end(), [&](uint32_t a, uint32_t b) {
            return uses[a] != uses[b] ? uses[a] < uses[b] : terms_[a].size() > terms_[b].size();
          });
      anchored_[rarest].push_back({rank, static_cast<uint32_t>(others_.size()), 0});
      for (const uint32_t term : terms) {
        if (term == rarest) continue;
        others_.push_back(term);
        ++anchored_[rarest].back().term_count;
      }
    }
  }
}

uint32_t Conjunctions::First() const {
  uint32_t best = always_;
  for (const uint32_t term : found_) {
    for (const Alternative& alternative : anchored_[term]) {
      if (alternative.rank >= best) break;
      const uint32_t* const other = others_.data() + alternative.first_term;
      if (std::all_of(other, other + alternative.term_count,
                      [&](uint32_t t) { return seen_[t] == round_; })) {
        best = alternative.rank;
        break;
      }
    }
  }
  return best;
}

size_t Conjunctions::bytes() const {
  size_t bytes = others_.size() * sizeof others_[0] + seen_.size() * sizeof seen_[0] +
                 found_.capacity() * sizeof found_[0] + anchored_.size() * sizeof anchored_[0];
  for (const auto& alternatives : anchored_)
    bytes += alternatives.size() * sizeof alternatives[0];
  return bytes;
}

HyperscanMatcher::HyperscanMatcher(const std::vector<std::string>& expressions)
    : conjunctions_(expressions) {
  std::vector<const char*> texts;
  std::vector<size_t> lengths;
  std::vector<unsigned> flags;
  std::vector<unsigned> ids;
  for (const std::string& term : conjunctions_.terms()) {
    texts.push_back(term.c_str());
    lengths.push_back(term.size());
    flags.push_back(HS_FLAG_SINGLEMATCH);
    ids.push_back(static_cast<unsigned>(ids.size()));
  }
  hs_compile_error_t* error = nullptr;
  Require(hs_compile_lit_multi(texts.data(), flags.data(), ids.data(), lengths.data(),
                               static_cast<unsigned>(texts.size()), HS_MODE_BLOCK, nullptr,
                               &database_, &error) == HS_SUCCESS,
          "Hyperscan does not take the terms");
  Require(hs_alloc_scratch(database_, &scratch_) == HS_SUCCESS, "no scratch for Hyperscan");
}

HyperscanMatcher::~HyperscanMatcher() {
  hs_free_scratch(scratch_);
  hs_free_database(database_);
}

uint32_t HyperscanMatcher::First(const std::string& ua) {
  conjunctions_.Begin();
  const auto saw = [](unsigned id, unsigned long long, unsigned long long, unsigned, void* self) {
    static_cast<Conjunctions*>(self)->Saw(id);
    return 0;
  };
  hs_scan(database_, ua.data(), static_cast<unsigned>(ua.size()), 0, scratch_, saw, &conjunctions_);
  return conjunctions_.First();
}

size_t HyperscanMatcher::bytes() const {
  size_t database = 0;
  size_t scratch = 0;
  hs_database_size(database_, &database);
  hs_scratch_size(scratch_, &scratch);
  return database + scratch + conjunctions_.bytes();
}

Re2Matcher::Re2Matcher(const std::vector<std::string>& expressions) : conjunctions_(expressions) {
  RE2::Options options;
  options.set_encoding(RE2::Options::EncodingLatin1);
  options.set_max_mem(int64_t{1} << 30);
  set_ = std::make_unique<RE2::Set>(options, RE2::UNANCHORED);
  for (const std::string& term : conjunctions_.terms())
    Require(set_->Add(RE2::QuoteMeta(term), nullptr) >= 0, "RE2 does not take a term");
  Require(set_->Compile(), "RE2 does not take the terms");
}

uint32_t Re2Matcher::First(const std::string& ua) {
  conjunctions_.Begin();
  set_->Match(ua, &matches_);
  for (const int match : matches_)
    conjunctions_.Saw(static_cast<uint32_t>(match));
  return conjunctions_.First();
}

}  // namespace byod::bench
