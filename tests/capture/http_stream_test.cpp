// SPDX-License-Identifier: Apache-2.0
#include "capture/http_stream.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "support/choices.h"
#include "support/packets.h"

namespace byod::capture {
namespace {

using byod::test::Choices;
using testing::ElementsAre;
using testing::IsEmpty;

std::string Request(const std::string& agent, const std::string& method = "GET") {
  return method + " /a HTTP/1.1\r\nHost: x\r\nUser-Agent: " + agent + "\r\nAccept: */*\r\n\r\n";
}

std::string Post(const std::string& agent, const std::string& body) {
  return "POST /a HTTP/1.1\r\nUser-Agent: " + agent +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// A stream and what it has said so far.
class Reader {
 public:
  /// @return the User-Agents that the bytes complete
  std::vector<std::string> Take(uint32_t sequence, std::string_view bytes, bool is_cut = false) {
    HttpFindings findings;
    if (!bytes.empty()) stream_.Take(sequence, bytes, is_cut, findings);
    malformed_ += findings.malformed;
    return findings.user_agents;
  }

  bool IsEmpty() const { return stream_.IsEmpty(); }
  size_t malformed() const { return malformed_; }

 private:
  HttpStream stream_;
  size_t malformed_ = 0;
};

// One lost segment in a head kept every later request of its connection from being read.
TEST(HttpStream, ARequestBehindAGapInAHeadIsRead) {
  Reader reader;
  EXPECT_THAT(reader.Take(1000, "GET / HTTP/1.1\r\nHost: "), IsEmpty());
  for (uint32_t i = 0; i < 1000; ++i) {
    EXPECT_THAT(reader.Take(5000 + i * 200, Request(std::to_string(i))),
                ElementsAre(std::to_string(i)));
  }
}

TEST(HttpStream, ARequestBehindAGapMayBeSpreadToo) {
  const std::string request = Request("second");
  Reader reader;
  EXPECT_THAT(reader.Take(1000, "GET / HTTP/1.1\r\nHost: "), IsEmpty());
  EXPECT_THAT(reader.Take(5000, request.substr(0, 2)), IsEmpty());
  EXPECT_THAT(reader.Take(5002, request.substr(2)), ElementsAre("second"));
}

TEST(HttpStream, AHeadWhoseMissingBytesComeLateIsRead) {
  const std::string request = Request("late");
  Reader reader;
  EXPECT_THAT(reader.Take(1000, request.substr(0, 20)), IsEmpty());
  EXPECT_THAT(reader.Take(1025, request.substr(25)), IsEmpty());
  EXPECT_THAT(reader.Take(1020, request.substr(20)), ElementsAre("late"));
}

// A piece of a body in capitals was taken for the beginning of a method, and what followed for the
// rest of it.
TEST(HttpStream, ABodyInCapitalsDoesNotHideTheNextRequest) {
  const std::string request = Request("next");
  for (const std::string body : {"ABCDEF", "A", "POST ", "A LONG TEXT", "GET /x",
                                 "GET / HTTP/1.1\r\nA", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"}) {
    Reader reader;
    EXPECT_THAT(reader.Take(1000, body), IsEmpty());
    const auto at = static_cast<uint32_t>(1000 + body.size());
    std::vector<std::string> found = reader.Take(at, request.substr(0, 3));
    std::ranges::copy(reader.Take(at + 3, request.substr(3)), std::back_inserter(found));
    EXPECT_THAT(found, ElementsAre("next")) << body;
  }
}

TEST(HttpStream, SeveralRequestsInOneSegmentAreAllRead) {
  Reader reader;
  EXPECT_THAT(reader.Take(1, Request("a") + "GET / HTTP/1.0\r\n\r\n" + Request("b", "BITS_POST") +
                                 "\r\n" + Request("c")),
              ElementsAre("a", "b", "c"));
}

TEST(HttpStream, ALineEndInFrontOfARequestDoesNotCount) {
  for (const std::string ends : {"\r\n", "\n", "\r\n\r\n"}) {
    Reader reader;
    EXPECT_THAT(reader.Take(1, ends + Request("a")), ElementsAre("a"));
  }
}

TEST(HttpStream, WhatLooksLikeARequestInABodyIsNotOne) {
  const std::string sent = Post("first", Request("in the body")) + Request("second");
  for (size_t cut = 1; cut < sent.size(); ++cut) {
    Reader reader;
    std::vector<std::string> found = reader.Take(9, sent.substr(0, cut));
    std::ranges::copy(reader.Take(static_cast<uint32_t>(9 + cut), sent.substr(cut)),
                      std::back_inserter(found));
    EXPECT_THAT(found, ElementsAre("first", "second")) << cut;
  }
}

TEST(HttpStream, BytesMissingInABodyDoNotDisturb) {
  const std::string head = "POST / HTTP/1.1\r\nContent-Length: 3000\r\n\r\n";
  Reader reader;
  uint32_t at = 0xFFFFFC00;  // comes round
  reader.Take(at, head);
  at += static_cast<uint32_t>(head.size());
  EXPECT_THAT(reader.Take(at + 1000, Request("in the body")), IsEmpty());
  EXPECT_THAT(reader.Take(at + 3000, Request("behind it")), ElementsAre("behind it"));
}

TEST(HttpStream, ABodyOfUnknownLengthEndsWithItsSegment) {
  Reader reader;
  EXPECT_THAT(
      reader.Take(1, "PUT / HTTP/1.1\r\nUser-Agent: a\r\nTransfer-Encoding: chunked\r\n\r\n" +
                         Request("in the body")),
      ElementsAre("a"));
  EXPECT_THAT(reader.Take(1000, Request("b")), ElementsAre("b"));
}

TEST(HttpStream, AStatedLengthBeyondReasonDoesNotSilenceAConnection) {
  Reader reader;
  EXPECT_THAT(reader.Take(1, "PUT / HTTP/1.1\r\nContent-Length: 99999999999999\r\n\r\n"),
              IsEmpty());
  EXPECT_THAT(reader.Take(50000, Request("b")), ElementsAre("b"));
}

TEST(HttpStream, AConnectionFarAwayIsAnotherOne) {
  for (const uint32_t at : {0x80000000U, 0x7FFF0000U, 0xFFE00000U, 0x00200000U}) {
    Reader reader;
    const std::string request = Request("other");
    reader.Take(1000, "GET / HTTP/1.1\r\nHost: ");
    EXPECT_THAT(reader.Take(at, request.substr(0, 30)), IsEmpty());
    EXPECT_THAT(reader.Take(at + 30, request.substr(30)), ElementsAre("other"));
  }
}

TEST(HttpStream, AHeadInACutSegmentDoesNotGoOn) {
  Reader reader;
  EXPECT_THAT(reader.Take(1, "GET / HTTP/1.1\r\n", true), IsEmpty());
  EXPECT_TRUE(reader.IsEmpty());
  EXPECT_THAT(reader.Take(16, "User-Agent: a\r\n\r\n"), IsEmpty());
  EXPECT_THAT(reader.Take(100, Request("b") + "GET /", true), ElementsAre("b"));
  const auto behind = static_cast<uint32_t>(100 + Request("b").size() + 5);
  EXPECT_THAT(reader.Take(behind, "x HTTP/1.1\r\nUser-Agent: c\r\n\r\n"), IsEmpty());
}

TEST(HttpStream, ARequestThatIsSentAgainIsReadAgainAndWhatFollowsIsRead) {
  const std::string first = Request("first"), both = first + Request("second");
  Reader reader;
  EXPECT_THAT(reader.Take(1, first), ElementsAre("first"));
  EXPECT_THAT(reader.Take(1, first), ElementsAre("first"));
  EXPECT_THAT(reader.Take(11, std::string_view{both}.substr(10)), ElementsAre("second"));
}

TEST(HttpStream, AnotherRequestInThePlaceOfTheLastOneIsRead) {
  Reader reader;
  for (const char* agent : {"a", "a longer one", "short", "b"})
    EXPECT_THAT(reader.Take(1, Request(agent)), ElementsAre(agent));
}

TEST(HttpStream, AConnectionThatCarriesNoRequestsIsNotKept) {
  Reader reader;
  for (uint32_t i = 0; i < 100; ++i)
    reader.Take(i * 50, i % 2 != 0 ? "SSH-2.0-x\r\n" : "no request\r\n");
  EXPECT_TRUE(reader.IsEmpty());
}

TEST(HttpStream, AMalformedRequestIsCountedAndTheNextOneRead) {
  Reader reader;
  EXPECT_THAT(reader.Take(1, "GET /a b HTTP/1.1\r\nUser-Agent: x\r\n\r\n"), IsEmpty());
  EXPECT_EQ(reader.malformed(), 1U);
  EXPECT_THAT(reader.Take(500, Request("a")), ElementsAre("a"));
}

TEST(HttpStream, ManyShortRequestsTakeTimeInProportion) {
  std::string text;
  while (text.size() < 4'000'000)
    text += "G / HTTP/1.1\n\n\r\n\r\n";
  Reader reader;
  text += Request("last");
  EXPECT_THAT(reader.Take(1, text), ElementsAre("last"));  // quadratic, this would take minutes
}

// ------------------------------------------------------------------ against a model

struct Piece {
  size_t begin;
  size_t end;
};

struct Sent {
  std::string agent;  // "" = none
  size_t begin;
  size_t said;  // behind the first byte after the line with the User-Agent
  size_t head_end;
  size_t end;     // of the body
  bool is_sized;  // the head says where it ends
};

/// What a client sends: requests of every kind, and segments that it is sent in.
class Client {
 public:
  explicit Client(Choices& choices) : choices_(choices) {
    for (size_t i = 0, count = 2 + choices.Below(12); i < count; ++i)
      AddRequest();
    Cut();
  }

  const std::string& text() const { return text_; }
  const std::vector<Sent>& requests() const { return requests_; }
  const std::vector<Piece>& pieces() const { return pieces_; }

 private:
  void AddRequest() {
    constexpr const char* kMethods[] = {"GET", "POST", "RPC_IN_DATA", "A"};
    Sent sent;
    sent.begin = text_.size();
    text_ += kMethods[choices_.Below(4)] + std::string(" /p HTTP/1.1\r\n");
    AddFields();
    if (choices_.Below(5) > 0) {
      sent.agent = "agent " + std::to_string(requests_.size());
      text_ += "User-Agent: " + sent.agent + "\r\n";
    }
    sent.said = text_.size() + 1;
    const size_t kind = choices_.Below(3);
    sent.is_sized = kind != 0;
    std::string body;
    if (kind != 1) body = Junk();
    if (kind == 0) text_ += "Transfer-Encoding: chunked\r\n";
    if (kind == 2) text_ += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    AddFields();
    text_ += "\r\n";
    sent.head_end = text_.size();
    text_ += body;
    sent.end = text_.size();
    requests_.push_back(sent);
  }

  void AddFields() {
    for (size_t count = choices_.Below(3); count > 0; --count)
      text_ += "X-ABC: " + std::string(choices_.Below(40), 'A') + "\r\n";
  }

  /// A body that has the beginnings of requests in it, but no whole one.
  std::string Junk() {
    constexpr const char* kWords[] = {"ABC", "GET ", "GET /x", "PUT / HTTP/1.1x",
                                      "x",   " ",    "\r\n",   "User-Agent: wrong\r\n",
                                      "\n",  "TEXT", "text"};
    std::string body;
    for (size_t count = choices_.Below(12); count > 0; --count)
      body += kWords[choices_.Below(std::size(kWords))];
    return body + "x";  // no line's end in front of the next request
  }

  /// A request behind one of unknown length begins a segment.
  void Cut() {
    const size_t longest = 1 + choices_.Below(200);
    size_t at = 0;
    for (const Sent& sent : requests_) {
      while (at < sent.end) {
        size_t end = std::min(at + 1 + choices_.Below(longest), text_.size());
        if (!sent.is_sized || choices_.Below(2) == 0) end = std::min(end, sent.end);
        pieces_.push_back({at, end});
        at = end;
      }
    }
  }

  Choices& choices_;
  std::string text_;
  std::vector<Sent> requests_;
  std::vector<Piece> pieces_;
};

/// The segments as a capture sees them: some lost, late, more than once, or overlapping.
std::vector<Piece> OnTheWire(const Client& client, Choices& choices) {
  std::vector<Piece> wire;
  const size_t trouble = choices.Below(3) * 4;  // in 100, of each kind
  const auto happens = [&] { return choices.Below(100) < trouble; };
  for (const Piece& piece : client.pieces()) {
    if (happens()) continue;
    wire.push_back(piece);
    if (happens()) wire.push_back(piece);
    if (happens()) wire.push_back(wire[choices.Below(wire.size())]);
    if (happens()) wire.back().begin -= choices.Below(std::min<size_t>(wire.back().begin + 1, 60));
  }
  for (size_t i = 1; i < wire.size(); ++i) {
    if (happens()) std::swap(wire[i], wire[i - 1 - choices.Below(std::min<size_t>(i, 3))]);
  }
  return wire;
}

/// Which requests have all their bytes up to the User-Agent in order, behind a place where one may
/// be expected to begin.
class Model {
 public:
  explicit Model(const std::vector<Sent>& requests) : requests_(requests) {}

  void Take(const Piece& piece) {
    if (piece.begin > end_ || end_ == 0) {
      begin_ = piece.begin;
      end_ = begin_;
    }
    if (piece.end <= end_) return;
    if (piece.begin == end_) expected_.insert(piece.begin);
    end_ = piece.end;
    for (const Sent& sent : requests_) {
      if (!expected_.contains(sent.begin) || sent.begin < begin_) continue;
      if (!sent.agent.empty() && sent.said <= end_) due_.insert(sent.agent);
      if (sent.is_sized && sent.head_end <= end_) expected_.insert(sent.end);
    }
  }

  const std::set<std::string>& due() const { return due_; }

 private:
  const std::vector<Sent>& requests_;
  size_t begin_ = 0, end_ = 0;  // the bytes that came in order last
  std::set<size_t> expected_;   // where a request is looked for
  std::set<std::string> due_;
};

TEST(HttpStream, EveryRequestWithAllBytesInOrderIsReadWhateverHappensToTheOthers) {
  size_t due = 0, all = 0;
  for (uint32_t seed = 0; seed < 6000 && !testing::Test::HasFailure(); ++seed) {
    Choices choices(seed);
    const Client client(choices);
    const std::vector<Piece> wire = OnTheWire(client, choices);
    const uint32_t origin = choices.Number();
    Model model(client.requests());
    Reader reader;
    std::set<std::string> found;
    for (const Piece& piece : wire) {
      model.Take(piece);
      for (const std::string& agent : reader.Take(
               origin + static_cast<uint32_t>(piece.begin),
               std::string_view{client.text()}.substr(piece.begin, piece.end - piece.begin)))
        found.insert(agent);
      ASSERT_TRUE(std::ranges::includes(found, model.due()))
          << "seed " << seed << ", at byte " << piece.begin << ": " << testing::PrintToString(found)
          << " without all of " << testing::PrintToString(model.due());
    }
    for (const std::string& agent : found)
      EXPECT_TRUE(agent.starts_with("agent ")) << agent;
    for (const Sent& sent : client.requests())
      all += !sent.agent.empty();
    due += model.due().size();
  }
  // Most requests survive, some do not.
  EXPECT_GT(due, all / 2);
  EXPECT_LT(due, all);
}

}  // namespace
}  // namespace byod::capture
