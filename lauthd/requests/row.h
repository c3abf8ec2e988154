// SPDX-License-Identifier: Apache-2.0
// A row of the tables that say which function handles which message.
#ifndef LAUTHD_REQUESTS_ROW_H
#define LAUTHD_REQUESTS_ROW_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "lauthd/requests/exchange.h"

namespace byod::lauthd {

using Handler = Result (*)(Exchange&);

/// What a request is about, for people: "MAC" and "rule", or one word.
struct Subject {
  const char* subject;
  const char* aspect = "";

  std::string ToString() const {
    return *aspect == '\0' ? subject : std::string(subject) + " " + aspect;
  }
};

struct Row {
  uint32_t kind;  // BYOD_MSG_* or BYOD_EXT_MSG_*
  Subject subject;
  Handler get;
  Handler change;            // set and undo
  bool guarded_get = false;  // reading needs the right to change, and waits for an open bulk
};

/// @return the row of a message; null if there is none
template <typename Rows>
constexpr const Row* FindRow(const Rows& rows, uint32_t kind) {
  for (const Row& row : rows) {
    if (row.kind == kind) return &row;
  }
  return nullptr;
}

}  // namespace byod::lauthd

#endif  // LAUTHD_REQUESTS_ROW_H
