// SPDX-License-Identifier: Apache-2.0
// What commands write as JSON is what any reader of JSON reads.
#include "byodctl/text/json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>

namespace byod::ctl {
namespace {

using Model = nlohmann::ordered_json;

/// The same random value twice.
struct Pair {
  Json json;
  Model model;
};

class JsonValues : public testing::Test {
 protected:
  unsigned Below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }

  std::string Text() {
    std::string text;
    for (unsigned length = Below(12); length > 0; --length)
      text += static_cast<char>(Below(4) == 0 ? Below(256) : ' ' + Below(95));
    return text;
  }

  Pair Value(unsigned depth) {
    switch (Below(depth > 0 ? 6 : 4)) {
      case 0:
        return {};
      case 1: {
        const bool truth = Below(2) == 0;
        return {truth, truth};
      }
      case 2: {
        const uint64_t number = random_() >> Below(64);
        return {number, number};
      }
      case 3: {
        const std::string text = Text();
        return {text, text};
      }
      case 4:
        return Array(depth - 1);
      default:
        return Object(depth - 1);
    }
  }

  Pair Array(unsigned depth) {
    Pair array{Json::EmptyArray(), Model::array()};
    for (unsigned count = Below(4); count > 0; --count) {
      const Pair value = Value(depth);
      array.json.Append(value.json);
      array.model.push_back(value.model);
    }
    return array;
  }

  /// Some keys come twice, and the later value counts.
  Pair Object(unsigned depth) {
    Pair object{Json::EmptyObject(), Model::object()};
    for (unsigned count = Below(5); count > 0; --count) {
      const std::string key(1, static_cast<char>('a' + Below(4)));
      const Pair value = Value(depth);
      object.json.Set(key, value.json);
      object.model[key] = value.model;
    }
    return object;
  }

  /// Whether a text has a DEL or a character from U+0080 to U+009F.
  static bool HasControls(const std::string& text) {
    for (size_t i = 0; i < text.size(); ++i) {
      const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
      if (text[i] == '\x7f' || (text[i] == '\xc2' && next >= 0x80 && next < 0xA0)) return true;
    }
    return false;
  }

  std::mt19937_64 random_{20261122};
};

TEST_F(JsonValues, AreWrittenAsAnIndependentWriterWritesThem) {
  for (int i = 0; i < 20000; ++i) {
    const Pair value = Value(3);
    const std::string expected = value.model.dump(-1, ' ', false, Model::error_handler_t::replace);
    const std::string written = value.json.ToString();
    if (!HasControls(expected)) {
      ASSERT_EQ(written, expected);
    }
    ASSERT_FALSE(HasControls(written)) << written;
    ASSERT_EQ(Model::parse(written), Model::parse(expected));
  }
}

// A User-Agent could turn the rest of a line around, or move a terminal's cursor.
TEST_F(JsonValues, EscapeWhatControlsATerminal) {
  EXPECT_EQ(Json("\x1b[2J\x7f").ToString(), R"("\u001b[2J\u007f")");
  EXPECT_EQ(Json("a\u0080b\u009fc").ToString(), R"("a\u0080b\u009fc")");
  EXPECT_EQ(Json("\u200e\u202e\u2066\u2069\u2028").ToString(),
            R"("\u200e\u202e\u2066\u2069\u2028")");
  EXPECT_EQ(Json("\u00a0\u00e9\u20ac").ToString(), "\"\u00a0\u00e9\u20ac\"")
      << "other characters stay";
  EXPECT_EQ(Json({{"\u202e", 1U}}).ToString(), R"({"\u202e":1})") << "in keys too";
}

TEST_F(JsonValues, KeepTheOrderInWhichMembersAreGiven) {
  const Json object = {{"z", 1U}, {"a", {{"y", true}, {"b", Json()}}}, {"list", {}}};
  EXPECT_EQ(object.ToString(), R"({"z":1,"a":{"y":true,"b":null},"list":null})");
}

TEST_F(JsonValues, OfTextsAreArraysEvenWhenThereAreNone) {
  EXPECT_EQ(Json(std::vector<std::string>{}).ToString(), "[]");
  EXPECT_EQ(Json(std::vector<std::string>{"a", "b"}).ToString(), R"(["a","b"])");
}

TEST_F(JsonValues, AreReadByPeopleOnlyAsTextsAndNumbers) {
  EXPECT_EQ(Json("a\"b").ToPlainText(), "a\"b");
  EXPECT_EQ(Json(7U).ToPlainText(), "7");
  EXPECT_FALSE(Json().ToPlainText());
  EXPECT_FALSE(Json(true).ToPlainText());
  EXPECT_FALSE(Json::EmptyObject().ToPlainText());
}

}  // namespace
}  // namespace byod::ctl
