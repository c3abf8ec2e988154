// The head of an HTTP request, as far as it is there.
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
    kIncomplete,  ///< so far it may become a request with a User-Agent
    kUserAgent,   ///< the line with it is whole
    kNone,        ///< the request has none, or this is not a request
    kMalformed    ///< a request, but its head is not one
  };

  State state = kNone;
  std::string user_agent;
  /// Bytes of the head with the empty line at its end; 0 while that has not come.
  size_t size = 0;
  /// Once there is a size: bytes of the body, or nothing when the head does not say.
  std::optional<uint64_t> body_size;
};

/**
 * Reads "GET /path HTTP/1.1", and the lines behind it. Those behind the first User-Agent only
 * matter for where the head ends and how long the body is.
 *
 * @param text  the first bytes that a client sends, or sends after a request
 */
HttpHead ReadHttpHead(std::string_view text);

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_HTTP_REQUEST_H
