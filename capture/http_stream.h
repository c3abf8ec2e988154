// SPDX-License-Identifier: Apache-2.0
// Reads the bytes that a client sends on one connection as HTTP requests.
#ifndef BYOD_CAPTURE_HTTP_STREAM_H
#define BYOD_CAPTURE_HTTP_STREAM_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace byod::capture {

/// The results of some segments.
struct HttpFindings {
  std::vector<std::string> user_agents;  ///< none is empty
  size_t malformed = 0;                  ///< requests

  bool Any() const { return !user_agents.empty() || malformed > 0; }
};

/**
 * Follows one direction of a connection by its sequence numbers.
 *
 * A request begins where a segment begins, or directly after another request of known length. Bytes
 * that are sent again count once. A head ends where bytes are missing; the segment after the gap is
 * read by itself.
 */
class HttpStream {
 public:
  /// @param sequence  of the first byte
  /// @param bytes     not empty
  /// @param is_cut    whether the segment had more bytes than these
  void Take(uint32_t sequence, std::string_view bytes, bool is_cut, HttpFindings& findings);

  /// Whether nothing is known about the stream, so that it need not be kept.
  bool IsEmpty() const { return text_.empty() && !has_request_; }

 private:
  bool IsAmidRequest() const { return !text_.empty() || body_left_ > 0; }
  void TakeNext(uint32_t sequence, std::string_view bytes, bool is_cut, HttpFindings& findings);
  void TakeApart(uint32_t sequence, std::string_view bytes, bool is_cut, HttpFindings& findings);
  void Append(std::string_view bytes);
  void Read(HttpFindings& findings);
  bool ReadRequest(size_t& at, HttpFindings& findings);
  void RemoveRead(size_t count);

  uint32_t next_ = 0;             // sequence number of the first byte to come
  uint64_t body_left_ = 0;        // bytes of a body to come, while text_ is empty
  std::string text_;              // the beginning of a head
  std::vector<uint32_t> starts_;  // offsets in text_ where later segments begin, ascending
  bool has_request_ = false;      // a complete head was read
  bool is_reported_ = false;      // the User-Agent of the head in text_ is reported
};

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_HTTP_STREAM_H
