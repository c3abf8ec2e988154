// SPDX-License-Identifier: Apache-2.0
// Attacks the daemon's connection: what a client may send, whole, in pieces, and then goes away.
//
// Whatever comes back must be whole messages, each with a result; and when the client has gone, so
// have its connection and its bulk. The first byte of the input says where it is cut in two, and
// whether the first part is there before the client is taken in.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "byod_tlv.h"
#include "lauth_tlv_stream.h"
#include "lauthd/server/connection.h"
#include "lauthd/server/runtime.h"

namespace {

using byod::lauthd::Connection;
using byod::lauthd::Runtime;

void Expect(bool truth) {
  if (!truth) std::abort();
}

Runtime& TheRuntime() {
  static Runtime* const runtime = [] {
    byod::lauthd::Options options;
    options.no_database = true;
    options.rule_limit = 300;
    byod::lauthd::SetLogLevel(byod::lauthd::Severity::kError);
    auto* const made = new Runtime(options);
    made->state.Load();
    return made;
  }();
  return *runtime;
}

/// Reads what the daemon has answered so far.
void Drain(int socket, std::vector<uint8_t>& answers) {
  uint8_t bytes[65536];
  for (;;) {
    const ssize_t got = recv(socket, bytes, sizeof bytes, MSG_DONTWAIT);
    if (got <= 0) return;
    answers.insert(answers.end(), bytes, bytes + got);
  }
}

void CheckAnswers(const std::vector<uint8_t>& answers) {
  for (size_t at = 0; at < answers.size();) {
    const size_t left = answers.size() - at;
    const int64_t length = TLV_Stream_MessageLength(answers.data() + at, left);
    Expect(length > 0 && static_cast<size_t>(length) <= left && length <= 65534);
    const byod::tlv::Message reply(
        TLV_CreateReceiveMsg(TLV_MODE_MEMORY, reinterpret_cast<uintptr_t>(answers.data() + at),
                             static_cast<uint32_t>(length)));
    Expect(static_cast<bool>(reply));
    Expect(TLV_GetTypeByIterator(reply.get(), TLV_GetFirst(reply.get())) == BYOD_TLV_ERRCODE);
    at += static_cast<size_t>(length);
  }
}

/// What the daemon's loop does between events.
void TakeTurns(Runtime& runtime) {
  runtime.connections.ContinueDeferred();
  while (runtime.connections.HasTurns())
    runtime.connections.GiveTurn();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > 60000) return 0;
  Runtime& runtime = TheRuntime();
  int ends[2];
  Expect(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
  // Half of the clients have sent something before they are taken in.
  const size_t cut = data[0] % size;
  const auto send_first = [&] {
    Expect(send(ends[0], data, cut, MSG_NOSIGNAL) == static_cast<ssize_t>(cut));
  };
  const bool early = data[0] % 2 == 1;
  if (early) send_first();
  Expect(Connection::Begin(runtime, ends[1], {0, true, true}));
  std::vector<uint8_t> answers;
  runtime.io.restart();
  if (!early) send_first();
  for (int i = 0; i < 8; ++i) {
    TakeTurns(runtime);
    runtime.io.poll();
  }
  Drain(ends[0], answers);
  // The daemon may have ended the connection by now.
  (void)!send(ends[0], data + cut, size - cut, MSG_NOSIGNAL);
  shutdown(ends[0], SHUT_WR);
  while (runtime.connections.size() > 0) {
    runtime.io.restart();
    TakeTurns(runtime);
    runtime.io.poll();
    Drain(ends[0], answers);
  }
  Drain(ends[0], answers);
  close(ends[0]);
  CheckAnswers(answers);
  Expect(!runtime.state.bulk.Open());
  return 0;
}
