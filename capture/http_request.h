// The head of an HTTP request, as far as it is there.
#ifndef BYOD_CAPTURE_HTTP_REQUEST_H
#define BYOD_CAPTURE_HTTP_REQUEST_H

#include <string>
#include <string_view>

namespace byod::capture {

struct HttpHead {
  enum State {
    kIncomplete,  ///< so far it may become a request with a User-Agent
    kUserAgent,   ///< the line with it is whole
    kNone,        ///< the request has none, or this is no request
    kMalformed    ///< a request, but its head is not one
  };

  State state = kNone;
  std::string user_agent;
};

/**
 * Reads "GET /path HTTP/1.1", and the lines behind it up to the first User-Agent.
 *
 * @param text  the first bytes that a client sends, or sends after a request
 */
HttpHead ReadHttpHead(std::string_view text);

}  // namespace byod::capture

#endif  // BYOD_CAPTURE_HTTP_REQUEST_H
