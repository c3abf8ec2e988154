// SPDX-License-Identifier: Apache-2.0
// Handlers called with a state and a session: no daemon, no loop, no socket.
#ifndef TESTS_LAUTHD_REQUESTS_HANDLER_TEST_H
#define TESTS_LAUTHD_REQUESTS_HANDLER_TEST_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "lauthd/log.h"
#include "lauthd/requests/exchange.h"
#include "lauthd/requests/row.h"
#include "lauthd/requests/session.h"
#include "lauthd/state/rule_kind.h"
#include "support/message.h"

namespace byod::lauthd {

using support::Bytes;
using support::Element;
using support::Number;
using support::Text;
using Elements = std::vector<Element>;

/// What a handler gave back.
struct Answer {
  Result result;
  Elements elements;  // of its reply, or of all replies of its series; without the code
  bool watch = false;

  uint32_t refusal() const { return result.refusal; }

  /// The first text of a type; empty when there is none.
  std::string TextOf(uint16_t type) const {
    for (const Element& element : elements) {
      if (element.type == type) return element.bytes.c_str();
    }
    return "";
  }
  std::vector<std::string> TextsOf(uint16_t type) const {
    std::vector<std::string> texts;
    for (const Element& element : elements) {
      if (element.type == type) texts.emplace_back(element.bytes.c_str());
    }
    return texts;
  }
  bool Has(const Element& wanted) const {
    for (const Element& element : elements) {
      if (element == wanted) return true;
    }
    return false;
  }
  bool HasType(uint16_t type) const {
    for (const Element& element : elements) {
      if (element.type == type) return true;
    }
    return false;
  }
  /// The messages that are nested in elements of a type.
  std::vector<Elements> NestedIn(uint16_t type) const {
    std::vector<Elements> messages;
    for (const Element& element : elements) {
      if (element.type == type) messages.push_back(support::Parse(element.bytes));
    }
    return messages;
  }
};

/// A counter as an element.
inline Element Counter(uint16_t type, uint64_t value) {
  std::string bytes(8, '\0');
  for (size_t i = 8; i-- > 0; value >>= 8)
    bytes[i] = static_cast<char>(value);
  return Bytes(type, bytes);
}

class Handlers : public testing::Test {
 protected:
  explicit Handlers(Options options = WithoutDatabase()) : state_(options) {
    SetLogLevel(Severity::kError);
    state_.Load();
  }

  static Options WithoutDatabase() {
    Options options;
    options.no_database = true;
    return options;
  }

  /// Calls a handler as the connection would.
  Answer Ask(Handler handler, uint32_t operation, const Elements& elements = {},
             uint32_t kind = 0) {
    return Ask(session_, handler, operation, elements, kind);
  }
  Answer Ask(Session& session, Handler handler, uint32_t operation, const Elements& elements = {},
             uint32_t kind = 0) {
    const support::Message request(elements);
    Exchange exchange{state_, session, request.get(), kind, operation, {}, nullptr, false};
    Answer answer;
    answer.result = handler(exchange);
    answer.watch = exchange.watch;
    if (exchange.reply) AddElements(exchange.reply, answer.elements);
    if (exchange.series) DrainSeries(*exchange.series, answer.elements);
    return answer;
  }
  Answer Get(Handler handler, const Elements& elements = {}) {
    return Ask(handler, BYOD_OP_GET, elements);
  }
  Answer Set(Handler handler, const Elements& elements = {}) {
    return Ask(handler, BYOD_OP_SET, elements);
  }
  Answer Undo(Handler handler, const Elements& elements = {}) {
    return Ask(handler, BYOD_OP_UNDO, elements);
  }

  State state_;
  Session session_{state_, [] { return Peer{1000, true}; }};

 private:
  /// Every reply begins with its code.
  static void AddElements(const tlv::Message& reply, Elements& all) {
    const Elements elements = support::ElementsOf(reply.get());
    ASSERT_FALSE(elements.empty());
    EXPECT_EQ(elements[0].type, BYOD_TLV_ERRCODE);
    all.insert(all.end(), elements.begin() + 1, elements.end());
  }
  static void DrainSeries(Series& series, Elements& all) {
    Pieces pieces;
    int replies = 0;
    for (bool more = true; more; ++replies) {
      ASSERT_LT(replies, 100000) << "the series does not end";
      pieces.Clear();
      ASSERT_TRUE(series.Next(pieces, more));
      AddElements(pieces.MakeReply(more ? BYOD_ERR_CONTINUE : 0), all);
    }
  }
};

/// A directory for a database or rule files.
class HandlerDirectory {
 public:
  HandlerDirectory() {
    char path[] = "/tmp/lauthd-handlers-XXXXXX";
    path_ = mkdtemp(path);
  }
  ~HandlerDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  HandlerDirectory(const HandlerDirectory&) = delete;
  HandlerDirectory& operator=(const HandlerDirectory&) = delete;
  const std::string& path() const { return path_; }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(path_ + "/" + name) << text;
  }

 private:
  std::string path_;
};

/// The same with a real database.
class HandlersWithDatabase : private HandlerDirectory, public Handlers {
 protected:
  HandlersWithDatabase() : Handlers(StoringIn(path())) {}

 private:
  static Options StoringIn(const std::string& directory) {
    Options options;
    options.state_dir = directory;
    return options;
  }
};

/// Adds a predefined rule, as the rule files do.
inline void AddPredefined(const char* keyword, const char* name, const char* vendor,
                          const char* category = "", const char* os = "") {
  ByodDeviceInfo info = {};
  std::strcpy(info.name, name);
  std::strcpy(info.vendor, vendor);
  std::strcpy(info.category, category);
  std::strcpy(info.os, os);
  BYOD_data_AddFileAgentRule(keyword, &info);
}

/// How requests name the rules of a kind: A and B are two rules, A before B.
template <typename Kind>
struct Keys;

template <>
struct Keys<UserAgentKind> {
  static Elements A() { return {Text(BYOD_TLV_USERAGENT, "Android")}; }
  static Elements B() { return {Text(BYOD_TLV_USERAGENT, "iPhone")}; }
  static Elements TooLong() { return {Text(BYOD_TLV_USERAGENT, std::string(256, 'x'))}; }
};

template <>
struct Keys<DhcpOptionKind> {
  static Elements A() { return {Text(BYOD_TLV_DHCPOPT, "1,3,6")}; }
  static Elements B() { return {Text(BYOD_TLV_DHCPOPT, "6,3,1")}; }
  static Elements TooLong() { return {Text(BYOD_TLV_DHCPOPT, std::string(256, '1'))}; }
};

template <>
struct Keys<MacKind> {
  static Elements Block(const char* address, const char* mask) {
    return {Bytes(BYOD_TLV_MAC, std::string(address, 6)),
            Bytes(BYOD_TLV_MACMASK, std::string(mask, 6))};
  }
  static Elements A() { return Block("\x00\x11\x22\x00\x00\x00", "\xff\xff\xff\x00\x00\x00"); }
  static Elements B() { return Block("\x02\x11\x22\x33\x44\x55", "\xff\xff\xff\xff\xff\xff"); }
  static Elements TooLong() { return {Bytes(BYOD_TLV_MAC, std::string(7, '\2'))}; }
};

inline Elements operator+(Elements first, const Elements& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

struct KindNames {
  template <typename Kind>
  static std::string GetName(int) {
    return Kind::kMethod == BYOD_METHOD_MAC    ? "Mac"
           : Kind::kMethod == BYOD_METHOD_DHCP ? "DhcpOption"
                                               : "UserAgent";
  }
};
using EveryKind = testing::Types<DhcpOptionKind, UserAgentKind, MacKind>;

}  // namespace byod::lauthd

#endif  // TESTS_LAUTHD_REQUESTS_HANDLER_TEST_H
