// SPDX-License-Identifier: Apache-2.0
#include "capture/packet_source.h"

#include <fcntl.h>
#include <pcap/pcap.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "capture/link_layer.h"
#include "net/descriptor.h"

namespace byod::capture {
namespace {

constexpr int kMaxPacketSize = 65535;
// How long packets may be buffered before they are delivered together.
constexpr int kGatherMs = 100;

[[noreturn]] void Fail(const std::string& name, const std::string& reason) {
  throw SourceError(name + ": " + reason, false);
}

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenedFile = std::unique_ptr<std::FILE, FileCloser>;

/// Opens a file that does not keep its reader waiting, as a FIFO does. @throws SourceError
OpenedFile OpenRegular(const std::string& path) {
  net::Descriptor descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  if (!descriptor || fstat(descriptor.get(), &status) != 0) Fail(path, std::strerror(errno));
  if (S_ISDIR(status.st_mode)) Fail(path, std::strerror(EISDIR));
  if (!S_ISREG(status.st_mode)) Fail(path, "not a regular file; - reads standard input");
  OpenedFile file(fdopen(descriptor.get(), "rb"));
  if (!file) Fail(path, std::strerror(errno));
  descriptor.release();
  return file;
}

/// The reason why an interface could not be opened.
[[noreturn]] void FailToActivate(const std::string& name, pcap_t* handle, int status) {
  if (status == PCAP_ERROR_PERM_DENIED || status == PCAP_ERROR_PROMISC_PERM_DENIED) {
    throw SourceError("capturing on " + name +
                          " is not permitted: it needs the capability "
                          "CAP_NET_RAW, which root has",
                      true);
  }
  if (status == PCAP_ERROR_NO_SUCH_DEVICE) Fail(name, "no such interface");
  const std::string reason = status == PCAP_ERROR ? pcap_geterr(handle) : pcap_statustostr(status);
  Fail(name, reason);
}

}  // namespace

void PacketSource::Closer::operator()(pcap* handle) const {
  pcap_close(handle);
}

PacketSource::PacketSource(Handle handle, std::string name)
    : handle_(std::move(handle)), name_(std::move(name)), link_type_(pcap_datalink(handle_.get())) {
  if (IsKnownLinkType(link_type_)) return;
  const char* const known = pcap_datalink_val_to_name(link_type_);
  Fail(name_, "frames of the kind " +
                  (known != nullptr ? std::string{known} : std::to_string(link_type_)) +
                  " are not read");
}

PacketSource PacketSource::OpenFile(const std::string& path) {
  char reason[PCAP_ERRBUF_SIZE] = "";
  if (path == "-") {
    Handle handle(pcap_open_offline("-", reason));
    if (!handle) Fail("standard input", reason);
    return {std::move(handle), "standard input"};
  }
  OpenedFile file = OpenRegular(path);
  Handle handle(pcap_fopen_offline(file.get(), reason));
  if (!handle) Fail(path, reason);
  file.release();  // closed with the handle
  return {std::move(handle), path};
}

PacketSource PacketSource::OpenInterface(const std::string& name) {
  char reason[PCAP_ERRBUF_SIZE] = "";
  Handle handle(pcap_create(name.c_str(), reason));
  if (!handle) Fail(name, reason);
  pcap_set_snaplen(handle.get(), kMaxPacketSize);
  pcap_set_promisc(handle.get(), 1);
  pcap_set_timeout(handle.get(), kGatherMs);
  const int status = pcap_activate(handle.get());
  if (status < 0) FailToActivate(name, handle.get(), status);
  return {std::move(handle), name};
}

bool PacketSource::Next(Frame& frame) {
  for (;;) {
    pcap_pkthdr* header = nullptr;
    const uint8_t* bytes = nullptr;
    switch (pcap_next_ex(handle_.get(), &header, &bytes)) {
      case 1:
        frame.link_type = link_type_;
        frame.time_us = static_cast<uint64_t>(header->ts.tv_sec) * 1000000 +
                        static_cast<uint64_t>(header->ts.tv_usec);
        frame.bytes = Bytes(bytes, header->caplen);
        return true;
      case 0:  // nothing yet
        break;
      case PCAP_ERROR_BREAK:
        return false;
      default:
        Fail(name_, pcap_geterr(handle_.get()));
    }
  }
}

void PacketSource::Stop() {
  pcap_breakloop(handle_.get());
}

uint64_t PacketSource::dropped() const {
  pcap_stat counts = {};
  return pcap_stats(handle_.get(), &counts) == 0 ? counts.ps_drop : 0;
}

}  // namespace byod::capture
