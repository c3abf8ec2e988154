// SPDX-License-Identifier: Apache-2.0
#include "capture/http_request.h"

#include <gtest/gtest.h>

#include <string>

#include "support/packets.h"

namespace byod::capture {
namespace {

std::string Show(std::string_view text) {
  const HttpHead head = ReadHttpHead(text);
  switch (head.state) {
    case HttpHead::kIncomplete:
      return "incomplete";
    case HttpHead::kUserAgent:
      return "user agent " + head.user_agent;
    case HttpHead::kNone:
      return "none";
    default:
      return "malformed";
  }
}

TEST(HttpRequest, ItsUserAgentIsTheFirstLineOfThatName) {
  EXPECT_EQ(Show(byod::test::kRequest), "user agent Tester/1.0 (made up)");
  EXPECT_EQ(Show("POST /x HTTP/1.0\nuSER-aGENT:  a \tb \t\nUser-Agent: second\n\n"),
            "user agent a \tb");
  EXPECT_EQ(Show("GET / HTTP/1.1\r\nUser-Agent: \xC3\xA4\xFF\r\n\r\n"), "user agent \xC3\xA4\xFF");
}

TEST(HttpRequest, CutAnywhereItIsIncompleteAndNeverAnotherUserAgent) {
  const std::string_view whole = byod::test::kRequest;
  const size_t line_end = whole.find("up)\r\n") + 5;
  for (size_t size = 1; size < whole.size(); ++size) {
    EXPECT_EQ(Show(whole.substr(0, size)),
              size > line_end ? "user agent Tester/1.0 (made up)" : "incomplete")
        << size;
  }
}

TEST(HttpRequest, OtherTextIsNoRequest) {
  for (const char* text :
       {"HTTP/1.1 200 OK\r\nUser-Agent: x\r\n\r\n", "get / HTTP/1.1\r\n\r\n", "EHLO mail\r\n",
        "GET /\r\n", "GET / HTTP/2.0\r\n\r\n", "GET HTTP/1.1\r\n", "\x16\x03\x01", "", " ",
        "GET\t/ HTTP/1.1\r\n", "ABCDEFGHIJKLMNOPQRSTUVWXYZ / HTTP/1.1\r\n", "-GET / HTTP/1.1\r\n",
        "A TEXT WITH HTTP/1.1\r\n"}) {
    EXPECT_EQ(Show(text), "none") << text;
  }
}

TEST(HttpRequest, AMethodMayHaveHyphensAndUnderscores) {
  for (const char* method : {"RPC_IN_DATA", "BITS_POST", "VERSION-CONTROL", "M-SEARCH"}) {
    EXPECT_EQ(Show(method + std::string(" /x HTTP/1.1\r\nUser-Agent: a\r\n\r\n")), "user agent a");
  }
}

TEST(HttpRequest, APathWithBlanksIsMalformed) {
  for (const char* line : {"GET  / HTTP/1.1", "GET /a b HTTP/1.1", "POST /a  HTTP/1.0",
                           "GET / x HTTP/1.1", "GET /a\tb HTTP/1.1"}) {
    EXPECT_EQ(Show(std::string(line) + "\r\nUser-Agent: x\r\n\r\n"), "malformed") << line;
  }
}

TEST(HttpRequest, ItsHeadEndsWithTheEmptyLineAndSaysHowLongTheBodyIs) {
  const auto sizes = [](const std::string& fields) {
    const HttpHead head = ReadHttpHead("GET / HTTP/1.1\r\n" + fields + "\r\nbody");
    EXPECT_EQ(head.size, 16 + fields.size() + 2) << fields;
    return head.body_size;
  };
  EXPECT_EQ(sizes(""), 0U);
  EXPECT_EQ(sizes("User-Agent: a\r\n"), 0U);
  EXPECT_EQ(sizes("Content-Length: 12\r\nUser-Agent: a\r\n"), 12U);
  EXPECT_EQ(sizes("User-Agent: a\r\nCONTENT-length:7\r\n"), 7U);
  for (const char* unknown :
       {"Content-Length: 1\r\nContent-Length: 2\r\n", "Content-Length: x\r\n",
        "Content-Length: 1 2\r\n", "Content-Length:\r\n", "Content-Length: -1\r\n",
        "Content-Length: 99999999999999999999\r\n", "Transfer-Encoding: chunked\r\n",
        "User-Agent: a\r\nnot a field\r\n"}) {
    EXPECT_EQ(sizes(unknown), std::nullopt) << unknown;
  }
  EXPECT_EQ(ReadHttpHead("GET / HTTP/1.1\r\nUser-Agent: a\r\nHost: x\r\n").size, 0U);
}

TEST(HttpRequest, WithoutAUserAgentItSaysNothing) {
  EXPECT_EQ(Show("GET / HTTP/1.1\r\nHost: x\r\n\r\nUser-Agent: in the body\r\n\r\n"), "none");
  EXPECT_EQ(Show("GET / HTTP/1.1\r\nUser-Agent:\r\n\r\n"), "none");
}

TEST(HttpRequest, AHeadThatIsNoneIsMalformed) {
  for (const char* line : {"no colon", ": no name", "a name: x", "User-Agent : x", "a: \x01",
                           "User-Agent: a\rb", "User-Agent: \x7F"}) {
    EXPECT_EQ(Show(std::string("GET / HTTP/1.1\r\n") + line + "\r\nUser-Agent: x\r\n\r\n"),
              "malformed")
        << line;
  }
  EXPECT_EQ(Show("GET / HTTP/1.1\r\nUser-Agent: a\r\n b\r\n\r\n"), "malformed");  // goes on
}

}  // namespace
}  // namespace byod::capture
