// SPDX-License-Identifier: Apache-2.0
#include "real_strings.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <unordered_set>

namespace byod::bench {
namespace {

/// The significant words of a User-Agent: what stands between brackets, semicolons and
/// blanks before a version.
std::vector<std::string> Words(const std::string& ua) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : ua + ';') {
    if (std::string_view("();,[]|&").find(c) == std::string_view::npos) {
      word += c;
      continue;
    }
    const size_t first = word.find_first_not_of(' ');
    if (first != std::string::npos) {
      word = word.substr(first, word.find(" Build/") - first);
      word.erase(word.find_last_not_of(' ') + 1);
      if (word.size() >= 2 && word.size() <= 40) words.push_back(word);
    }
    word.clear();
  }
  return words;
}

std::vector<std::string> MadeUpUserAgents(size_t count, std::mt19937& random) {
  constexpr const char* kMakers[] = {"SM-G", "Nexus ", "HTC_", "LG-", "Moto ", "Redmi ", "Pixel "};
  std::vector<std::string> strings;
  while (strings.size() < count) {
    const std::string version = std::to_string(4 + random() % 11);
    const std::string chrome = std::to_string(30 + random() % 100);
    std::string model = kMakers[random() % std::size(kMakers)];
    for (int i = 0; i < 4; ++i)
      model += "0123456789ABCDEFX"[random() % 17];
    strings.push_back("Mozilla/5.0 (Linux; Android " + version + "; " + model +
                      " Build/JDQ39) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/" + chrome +
                      ".0.0.0 Mobile Safari/537.36");
  }
  return strings;
}

}  // namespace

std::vector<std::string> ReadCorpus(const std::string& file) {
  const char* const folder = std::getenv("BYOD_CORPUS");
  std::ifstream in((folder != nullptr ? std::string(folder) : std::string(BYOD_BENCH_CORPUS)) +
                   "/" + file);
  std::vector<std::string> texts;
  std::unordered_set<std::string> seen;
  std::string line;
  std::getline(in, line);  // the names of the columns
  while (std::getline(in, line)) {
    line.resize(std::min(line.find('\t'), line.size()));
    if (!line.empty() && line.size() < 256 && seen.insert(line).second) texts.push_back(line);
  }
  return texts;
}

std::vector<std::string> UserAgents(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<std::string> strings = ReadCorpus("useragents.tsv");
  if (strings.size() < count) strings = MadeUpUserAgents(count, random);
  std::shuffle(strings.begin(), strings.end(), random);
  return strings;
}

std::vector<std::string> OptionTexts(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<std::string> texts = ReadCorpus("dhcp55.tsv");
  if (texts.empty()) texts = {"1,3,6,15,119,252", "1,15,3,6,44,46,47,31,33,121,249,43", "1,3,6"};
  const size_t real = texts.size();
  std::unordered_set<std::string> seen(texts.begin(), texts.end());
  while (texts.size() < count) {
    // One number more or less, as another version of the same client would ask.
    std::string text = texts[random() % real];
    const size_t comma = text.find(',', random() % text.size());
    const std::string number = std::string(1, ',') + std::to_string(1 + random() % 254);
    text.insert(comma == std::string::npos ? text.size() : comma, number);
    if (random() % 2 != 0) text += std::string(1, ',') + std::to_string(1 + random() % 254);
    if (text.size() < 256 && seen.insert(text).second) texts.push_back(text);
  }
  texts.resize(count);
  std::shuffle(texts.begin(), texts.end(), random);
  return texts;
}

std::vector<std::string> Expressions(const std::vector<std::string>& user_agents, size_t count,
                                     uint32_t seed) {
  std::mt19937 random(seed * 7919 + 1);
  std::map<std::string, size_t> holders;
  for (const std::string& ua : user_agents)
    for (const std::string& word : Words(ua))
      ++holders[word];
  std::vector<std::string> models;
  for (const auto& [word, times] : holders)
    if (times <= 5 && word.size() >= 4) models.push_back(word);
  constexpr const char* kCommon[] = {"Android", "Mobile",  "Linux",    "iPhone", "Windows NT",
                                     "Chrome/", "Safari/", "Version/", "Build/", "AppleWebKit/"};
  constexpr const char* kGeneral[] = {"iPhone",
                                      "iPad",
                                      "Android&&Mobile",
                                      "Windows NT 10.0",
                                      "Macintosh",
                                      "Windows NT",
                                      "CrOS",
                                      "X11&&Linux",
                                      "PlayStation||Xbox",
                                      "BlackBerry",
                                      "Symbian",
                                      "Windows Phone",
                                      "SMART-TV||TV",
                                      "Opera Mini",
                                      "Nokia",
                                      "Kindle",
                                      "Dalvik/",
                                      "LG",
                                      "HTC",
                                      "Tizen"};

  const auto model = [&] { return models[random() % models.size()]; };
  const auto common = [&] { return std::string(kCommon[random() % std::size(kCommon)]); };
  std::unordered_set<std::string> seen;
  std::vector<std::string> expressions;
  for (size_t i = 0; expressions.size() < count; ++i) {
    std::string expression;
    const auto kind = random() % 100;
    if (i < std::size(kGeneral) && i < count / 5) {
      expression = std::string(kGeneral[i]);
    } else if (kind < 45) {
      expression = model();
    } else if (kind < 80) {
      expression = common() + "&&" + model();
    } else if (kind < 90) {
      expression = model() + "||" + model();
    } else if (kind < 97) {
      expression = common() + "&&" + common() + "&&" + model();
    } else {
      expression = common() + "&&" + model() + "||" + model() + "&&" + common();
    }
    if (expression.size() < 256 && seen.insert(expression).second)
      expressions.push_back(expression);
  }
  std::shuffle(expressions.begin(), expressions.end(), random);
  return expressions;
}

}  // namespace byod::bench
