// SPDX-License-Identifier: Apache-2.0
#include "capture/http_stream.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "capture/http_request.h"

namespace byod::capture {
namespace {

// A head that is longer or spread over more segments is dropped.
constexpr size_t kMaxHead = 16384;
constexpr size_t kMaxSegments = 1024;
// A longer body is not followed: sequence numbers wrap around.
constexpr uint64_t kMaxBody = uint64_t{1} << 30;
// Bytes farther back than this belong to another connection; they are not a retransmission.
constexpr uint32_t kMaxBack = uint32_t{1} << 20;

/// Whether a request, or a line end before it, may begin with this byte. Skips most traffic.
bool MayBegin(char c) {
  return (c >= 'A' && c <= 'Z') || c == '\r' || c == '\n';
}

}  // namespace

void HttpStream::Take(uint32_t sequence, std::string_view bytes, bool is_cut,
                      HttpFindings& findings) {
  if (IsEmpty()) {
    if (!MayBegin(bytes.front())) return;
    next_ = sequence;
  }
  const uint32_t missing = sequence - next_;
  const uint32_t again = next_ - sequence;
  if (missing <= body_left_) {  // part of a body, or nothing
    body_left_ -= missing;
    TakeNext(sequence, bytes, is_cut, findings);
  } else if (again > kMaxBack || !IsAmidRequest()) {
    TakeApart(sequence, bytes, is_cut, findings);
  } else if (again < bytes.size()) {
    TakeNext(next_, bytes.substr(again), is_cut, findings);
  }
}

/// Takes bytes that follow the last ones.
void HttpStream::TakeNext(uint32_t sequence, std::string_view bytes, bool is_cut,
                          HttpFindings& findings) {
  next_ = sequence;
  Append(bytes);
  Read(findings);
  if (is_cut) RemoveRead(text_.size());  // the end of a cut head is not known
}

/// Takes a segment at another place, or one that repeats requests: it is read as if it came first.
void HttpStream::TakeApart(uint32_t sequence, std::string_view bytes, bool is_cut,
                           HttpFindings& findings) {
  HttpStream other;
  HttpFindings found;
  other.Take(sequence, bytes, is_cut, found);
  const uint32_t again = next_ - sequence;
  const bool is_repeat = again <= kMaxBack;
  if (is_repeat && found.user_agents.empty() && again < bytes.size()) {
    return TakeNext(next_, bytes.substr(again), is_cut, findings);
  }
  // A head waits for its missing bytes until another request begins.
  const bool is_begun = is_repeat ? again < bytes.size() : !other.IsEmpty() || found.Any();
  if (is_begun) *this = std::move(other);
  std::ranges::move(found.user_agents, std::back_inserter(findings.user_agents));
  findings.malformed += found.malformed;
}

void HttpStream::Append(std::string_view bytes) {
  next_ += static_cast<uint32_t>(bytes.size());
  const auto body = static_cast<size_t>(std::min<uint64_t>(body_left_, bytes.size()));
  body_left_ -= body;
  if (!text_.empty()) starts_.push_back(static_cast<uint32_t>(text_.size()));
  text_ += bytes.substr(body);
}

/// Reads complete requests from the text and keeps the rest.
void HttpStream::Read(HttpFindings& findings) {
  size_t at = 0;
  while (at < text_.size() && ReadRequest(at, findings)) {
    const auto body = static_cast<size_t>(std::min<uint64_t>(body_left_, text_.size() - at));
    body_left_ -= body;
    at += body;
  }
  RemoveRead(at);
}

void HttpStream::RemoveRead(size_t count) {
  if (count == text_.size()) {
    text_ = {};  // there may be many streams, so free the memory
    starts_ = {};
    return;
  }
  text_.erase(0, count);
  starts_.erase(starts_.begin(), std::ranges::upper_bound(starts_, count));
  for (uint32_t& start : starts_)
    start -= static_cast<uint32_t>(count);
}

/// Reads the request at a position of the text. @return false if it is incomplete; else the
/// position is moved
bool HttpStream::ReadRequest(size_t& at, HttpFindings& findings) {
  const std::string_view text = std::string_view{text_}.substr(at);
  // Some clients send a line end after a body, which is not part of it.
  if (const size_t ends = std::min(text.find_first_not_of("\r\n"), text.size())) {
    at += ends;
    return true;
  }
  HttpHead head = ReadHttpHead(text);
  if (head.state == HttpHead::kUserAgent && !is_reported_) {
    findings.user_agents.push_back(std::move(head.user_agent));
    is_reported_ = true;
  }
  const bool is_open = head.state == HttpHead::kIncomplete || head.state == HttpHead::kUserAgent;
  if (is_open && head.size == 0 && text.size() <= kMaxHead && starts_.size() <= kMaxSegments) {
    return false;
  }
  is_reported_ = false;
  has_request_ = has_request_ || head.size > 0;
  findings.malformed += head.state == HttpHead::kMalformed;
  if (head.size > 0 && head.body_size.value_or(kMaxBody) < kMaxBody) {
    at += head.size;
    body_left_ = *head.body_size;
    return true;
  }
  // Not a request, or one of unknown length: the next one begins with a later segment.
  const auto start = std::ranges::lower_bound(starts_, at + std::max<size_t>(head.size, 1));
  at = start != starts_.end() ? *start : text_.size();
  return true;
}

}  // namespace byod::capture
