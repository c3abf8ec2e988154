// SPDX-License-Identifier: Apache-2.0
#include "lauthd/server/sighting_socket.h"

#include <asio/post.hpp>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>

#include "lauthd/log.h"
#include "lauthd/requests/wall_clock.h"
#include "lauthd/server/access.h"
#include "lauthd/server/runtime.h"

namespace byod::lauthd {
namespace {

Sender SenderOf(const msghdr& header) {
  for (const cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr;
       part = CMSG_NXTHDR(const_cast<msghdr*>(&header), const_cast<cmsghdr*>(part))) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_CREDENTIALS) continue;
    ucred credentials;
    std::memcpy(&credentials, CMSG_DATA(part), sizeof credentials);
    return {credentials.uid, credentials.pid};
  }
  return {};
}

}  // namespace

SightingSocket::SightingSocket(Runtime& runtime)
    : runtime_(runtime),
      file_(runtime.state.options.sightings, runtime.feed_group, SOCK_DGRAM),
      socket_(runtime.io, file_.Release()) {
  const int on = 1;
  if (setsockopt(socket_.native_handle(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0) {
    throw std::runtime_error(std::string("cannot ask for the senders of sightings: ") +
                             std::strerror(errno));
  }
}

void SightingSocket::Stop() {
  asio::error_code ignored;
  socket_.close(ignored);
}

Awaitable<void> SightingSocket::Receive() {
  while (socket_.is_open()) {
    while (socket_.is_open() && ReceiveSome())
      co_await Operation([&](auto done) { asio::post(runtime_.io, std::move(done)); });
    const asio::error_code stopped = co_await Operation([&](auto done) {
      socket_.async_wait(asio::posix::stream_descriptor::wait_read, std::move(done));
    });
    if (stopped) co_return;
  }
}

bool SightingSocket::ReceiveSome() {
  std::array<mmsghdr, kBatch> headers = {};
  std::array<iovec, kBatch> vectors;
  for (size_t i = 0; i < kBatch; ++i) {
    vectors[i] = {buffers_[i].data(), buffers_[i].size()};
    msghdr& header = headers[i].msg_hdr;
    header.msg_iov = &vectors[i];
    header.msg_iovlen = 1;
    header.msg_control = controls_[i].data();
    header.msg_controllen = controls_[i].size();
  }
  const int count =
      recvmmsg(socket_.native_handle(), headers.data(), kBatch, MSG_DONTWAIT, nullptr);
  for (int i = 0; i < count; ++i) {
    const auto which = static_cast<size_t>(i);
    Take(headers[which], buffers_[which].data());
  }
  return count > 0;
}

void SightingSocket::Take(const mmsghdr& received, const char* bytes) {
  Stations& stations = *runtime_.state.stations;
  const Sender sender = SenderOf(received.msg_hdr);
  const Seconds now = SecondsSince1970();
  try {
    const std::string fault = ParseSighting({bytes, received.msg_len}, sighting_);
    if (fault.empty()) {
      stations.Take(sighting_, sender, now);
    } else {
      stations.CountMalformed(sighting_.feed, sender, now);
      Log(Severity::kDebug, "a sighting of %s is refused: %s",
          sighting_.feed.empty() ? "an unknown feed" : sighting_.feed.c_str(), fault.c_str());
    }
  } catch (const std::bad_alloc&) {
    Log(Severity::kWarning, "no memory for a sighting");
  }
}

}  // namespace byod::lauthd
