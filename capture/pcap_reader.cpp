// SPDX-License-Identifier: Apache-2.0
#include "capture/pcap_reader.h"

#include <pcap/pcap.h>

#include <utility>

#include "capture/link_layer.h"
#include "capture/source_error.h"

namespace byod::capture {
namespace {

constexpr int kMaxPacketSize = 65535;
// How long packets may be buffered before they are delivered together.
constexpr int kGatherMs = 100;

/// The reason why an interface could not be opened.
[[noreturn]] void FailToActivate(const std::string& name, pcap_t* handle, int status) {
  if (status == PCAP_ERROR_PERM_DENIED || status == PCAP_ERROR_PROMISC_PERM_DENIED) {
    throw SourceError("capturing on " + name +
                          " is not permitted: it needs the capability "
                          "CAP_NET_RAW, which root has",
                      true);
  }
  std::string reason = status == PCAP_ERROR ? pcap_geterr(handle) : pcap_statustostr(status);
  if (status == PCAP_ERROR_NO_SUCH_DEVICE) reason = "no such interface";
  throw SourceError(name + ": " + reason, false);
}

}  // namespace

void PcapReader::Closer::operator()(pcap* handle) const {
  pcap_close(handle);
}

void PcapReader::Fail(const std::string& reason) const {
  const bool is_damaged = file_ && !file_->fault().empty();
  throw SourceError(name_ + ": " + (is_damaged ? file_->fault() : reason), false);
}

void PcapReader::CheckLinkType() {
  link_type_ = pcap_datalink(handle_.get());
  if (!IsKnownLinkType(link_type_)) Fail(UnknownLinkType(link_type_));
}

PcapReader::PcapReader(CaptureFile file) : name_(file.name()), file_(std::move(file)) {
  char reason[PCAP_ERRBUF_SIZE] = "";
  // The stream is closed with the handle.
  handle_.reset(pcap_fopen_offline(file_->stream(), reason));
  if (!handle_) Fail(reason);
  file_->Release();
  CheckLinkType();
}

PcapReader::PcapReader(const std::string& interface) : name_(interface) {
  char reason[PCAP_ERRBUF_SIZE] = "";
  handle_.reset(pcap_create(interface.c_str(), reason));
  if (!handle_) Fail(reason);
  pcap_set_snaplen(handle_.get(), kMaxPacketSize);
  pcap_set_promisc(handle_.get(), 1);
  pcap_set_timeout(handle_.get(), kGatherMs);
  const int status = pcap_activate(handle_.get());
  if (status < 0) FailToActivate(interface, handle_.get(), status);
  CheckLinkType();
}

bool PcapReader::Next(Frame& frame) {
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
        Fail(pcap_geterr(handle_.get()));
    }
  }
}

void PcapReader::Stop() {
  pcap_breakloop(handle_.get());
}

uint64_t PcapReader::dropped() const {
  pcap_stat counts = {};
  return pcap_stats(handle_.get(), &counts) == 0 ? counts.ps_drop : 0;
}

std::string UnknownLinkType(int link_type) {
  const char* const known = pcap_datalink_val_to_name(link_type);
  return "frames of the kind " +
         (known != nullptr ? std::string{known} : std::to_string(link_type)) + " are not read";
}

}  // namespace byod::capture
