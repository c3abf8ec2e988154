// SPDX-License-Identifier: Apache-2.0
#include "lauth_tlv_stream.h"

#include <algorithm>
#include <cstring>

#include "net/byte_order.h"
#include "platform/tlv/message.h"

using namespace lauth;

static_assert(TLV_STREAM_HEADER == tlv::kHeader);

int64_t TLV_Stream_MessageLength(const void* bytes, size_t count) {
  if (bytes == nullptr || count == 0) return 0;
  if (std::memcmp(bytes, tlv::kMark, std::min(count, sizeof tlv::kMark)) != 0) return -1;
  if (count < tlv::kHeader) return 0;
  const uint32_t length =
      byod::net::LoadBig<uint32_t>(static_cast<const uint8_t*>(bytes) + sizeof tlv::kMark);
  return length >= tlv::kHeader ? int64_t{length} : -1;
}
