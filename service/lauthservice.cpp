// SPDX-License-Identifier: Apache-2.0
#include "byod_lauthservice.h"

namespace {

ByodServiceTable services;

}  // namespace

void BYOD_lauthservice_SetService(const ByodServiceTable* table) {
  services = *table;
}

void BYOD_lauthservice_ResetService() {
  services = {};
}

uintptr_t BYOD_lauthservice_SendRealSyncMsg(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                            uintptr_t e, uintptr_t f) {
  return services.send_real_sync_msg(a, b, c, d, e, f);
}

uintptr_t BYOD_lauthservice_SendBatchSyncMsg(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                             uintptr_t e, uintptr_t f) {
  return services.send_batch_sync_msg(a, b, c, d, e, f);
}

uintptr_t BYOD_lauthservice_AddEpoll(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                     uintptr_t e, uintptr_t f) {
  return services.add_epoll(a, b, c, d, e, f);
}

uintptr_t BYOD_lauthservice_DelEpoll(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                     uintptr_t e, uintptr_t f) {
  return services.del_epoll(a, b, c, d, e, f);
}

uintptr_t BYOD_lauthservice_AddByodTlvHead(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                           uintptr_t e, uintptr_t f) {
  return services.add_byod_tlv_head(a, b, c, d, e, f);
}

uintptr_t BYOD_lauthservice_DelByodTlvHead(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                           uintptr_t e, uintptr_t f) {
  return services.del_byod_tlv_head(a, b, c, d, e, f);
}

// The swap is meant: the daemon's function takes the record first.
uint32_t BYOD_lauthservice_AddDeviceAuthorAttr(const char* group, const void* record,
                                               uint32_t message) {
  return services.add_device_author_attr(record, group, message);
}
