// SPDX-License-Identifier: Apache-2.0
// Taking a backup from the daemon and restoring it.
#ifndef TESTS_LAUTHD_BACKUPS_H
#define TESTS_LAUTHD_BACKUPS_H

#include <algorithm>
#include <vector>

#include "tests/lauthd/client.h"

namespace byod::test {

using Bytes = std::vector<uint8_t>;

/// @return the database as a file's bytes
inline Bytes TakeBackup(Client& client) {
  Bytes file;
  EXPECT_EQ(
      client.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_BACKUP),
                       [&](const Message& reply) {
                         const uintptr_t at = TLV_GetIteratorByType(reply.get(), BYOD_EXT_DATA);
                         Bytes piece(TLV_GetLenByIterator(reply.get(), at));
                         TLV_GetValueByIterator(reply.get(), at,
                                                static_cast<uint16_t>(piece.size()), piece.data());
                         file.insert(file.end(), piece.begin(), piece.end());
                       }),
      0u);
  return file;
}

inline Verdict RestoreBackup(Client& client, const Bytes& file) {
  const auto phase = [&](uint32_t number, const std::function<void(Appender&)>& fill) {
    return VerdictOf(client.Ask(BYOD_OP_SET, BYOD_EXT_MSG_RESTORE, [&](Appender& append) {
      append.Number(BYOD_EXT_PHASE, number);
      if (fill) fill(append);
    }));
  };
  constexpr Verdict kDone = {0, 0};
  Verdict verdict = phase(BYOD_PHASE_BEGIN, [&](Appender& append) {
    append.Combine(protocol::AppendCounter(append.message(), BYOD_EXT_TOTAL, file.size()));
  });
  for (size_t at = 0; at < file.size() && verdict == kDone; at += BYOD_EXT_DATA_MAX) {
    const auto length =
        static_cast<uint32_t>(std::min<size_t>(BYOD_EXT_DATA_MAX, file.size() - at));
    verdict = phase(BYOD_PHASE_MORE, [&](Appender& append) {
      append.Bytes(BYOD_EXT_DATA, length, file.data() + at);
    });
  }
  return verdict == kDone ? phase(BYOD_PHASE_COMMIT, {}) : verdict;
}

}  // namespace byod::test

#endif  // TESTS_LAUTHD_BACKUPS_H
