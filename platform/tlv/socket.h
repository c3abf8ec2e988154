// SPDX-License-Identifier: Apache-2.0
/// Whole pieces over a stream socket, blocking or not.
#ifndef LAUTH_PLATFORM_TLV_SOCKET_H
#define LAUTH_PLATFORM_TLV_SOCKET_H

#include <cstddef>
#include <cstdint>

namespace lauth::tlv {

// Sends all, surviving signals and partial writes, without SIGPIPE. False when the peer is gone or
// the socket's own timeout is over.
bool SendAll(int socket, const uint8_t* bytes, size_t count);

// Receives some bytes, at least one and at most `count`; 0 when no more come.
size_t ReceiveSome(int socket, uint8_t* out, size_t count);

}  // namespace lauth::tlv

#endif
