// SPDX-License-Identifier: Apache-2.0
#include "byodctl/daemon/bulk.h"

#include "byod_tlv.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

// Half of the longest message: the last change of a message may exceed the limit.
constexpr uint32_t kMaxBytes = 32768;

Request Phase(uint32_t phase) {
  Request request(BYOD_OP_SET, BYOD_EXT_MSG_BULK);
  request.Number(BYOD_EXT_PHASE, phase);
  return request;
}

}  // namespace

Bulk::Bulk(Client& client) : client_(client) {
  client_.Ask(Phase(BYOD_PHASE_BEGIN));
}

std::vector<uint32_t> Bulk::Apply(const std::vector<Request>& changes) {
  std::vector<uint32_t> codes;
  for (size_t next = 0; next < changes.size();) {
    Request more = Phase(BYOD_PHASE_MORE);
    size_t count = 0;
    while (next < changes.size() && (count == 0 || more.length() < kMaxBytes)) {
      more.Nested(BYOD_EXT_REQUEST, changes[next++]);
      ++count;
    }
    const tlv::Message reply = client_.Ask(more);
    const size_t before = codes.size();
    for (uintptr_t element = TLV_GetFirst(reply.get()); element != 0;
         element = TLV_GetNext(reply.get(), element)) {
      if (TLV_GetTypeByIterator(reply.get(), element) == BYOD_EXT_RESULT) {
        codes.push_back(TLV_GetUINTByIterator(reply.get(), element));
      }
    }
    if (codes.size() - before != count) {
      throw Failure(kExitNoDaemon, "the daemon did not answer every change");
    }
  }
  return codes;
}

void Bulk::Commit() {
  client_.Commit(Phase(BYOD_PHASE_COMMIT));
}

void Bulk::RollBack() {
  client_.Ask(Phase(BYOD_PHASE_ABORT));
}

}  // namespace byod::ctl
