// SPDX-License-Identifier: Apache-2.0
// The head of an HTTP request, as far as it was received.
#ifndef BYOD_CAPTURE_HTTP_REQUEST_H
#define BYOD_CAPTURE_HTTP_REQUEST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace byod::capture {

struct HttpHead {
  enum State {
    kIncomplete,  ///< may still become a request with a User-Agent
    kUserAgent,   ///< the line with it is complete
    kNone,        ///< the request has none, or this is not a request
    kMalformed    ///< a request with a malformed head
  };

  State state = kNone;
  std::string user_agent;
  /// Bytes of the head with the empty line at its end; 0 before that is received.
  size_t size = 0;
  /// With a size: bytes of the body; nothing if the head does not say.
  std::optional<uint64_t> body_size;
};

/**
 * Reads "GET /path HTTP/1.1" and the lines after it. Lines after the first User-Agent matter only
 * for the end of the head and the length of the body.
 *
 * @param text  the first bytes of a client, or those after a request
 */
HttpHead ReadHttpHead(std::string_view text);

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_HTTP_REQUEST_H
