// SPDX-License-Identifier: Apache-2.0
// byod-capture: reports what packets on an interface show about terminals to lauthd.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <string>

#include "capture/confine.h"
#include "capture/packet_source.h"
#include "feeds/capture_feed.h"
#include "feeds/sighting_socket.h"

namespace byod::feeds {
namespace {

constexpr int kFailed = 1;
constexpr int kBadUsage = 2;

struct Options {
  std::string interface;
  std::string pcap;
  std::string socket = BYOD_SIGHTINGS_SOCKET;
  std::string user = "byod-capture";
  std::string feed = "capture";
  bool print = false;
};

capture::PacketSource* g_source = nullptr;

extern "C" void EndCapture(int) {
  g_source->Stop();
}

void EndBySignal(capture::PacketSource& source) {
  g_source = &source;
  struct sigaction end = {};
  end.sa_handler = &EndCapture;
  sigaction(SIGINT, &end, nullptr);
  sigaction(SIGTERM, &end, nullptr);
}

/// Sends sightings, and says when the daemon goes away and when it is back.
class Reporter {
 public:
  explicit Reporter(const Options& options)
      : socket_(options.socket.c_str()), path_(options.socket) {}

  bool Send(const Sighting& sighting) {
    const int error = socket_.Send(sighting);
    // A full queue is only counted: the daemon is there.
    if (error != EAGAIN && error != last_error_) {
      if (error != 0) {
        std::fprintf(stderr, "byod-capture: nothing is reported: %s: %s\n", path_.c_str(),
                     std::strerror(error));
      } else {
        std::fprintf(stderr, "byod-capture: sightings are reported again\n");
      }
      last_error_ = error;
    }
    return error == 0;
  }

  const SightingSocket& socket() const { return socket_; }

 private:
  SightingSocket socket_;
  std::string path_;
  int last_error_ = 0;
};

bool Print(const Sighting& sighting) {
  const Datagram datagram(sighting);
  std::printf("%.*s\n", static_cast<int>(datagram.text().size()), datagram.text().data());
  std::fflush(stdout);
  return true;
}

capture::PacketSource Open(const Options& options) {
  return options.pcap.empty() ? capture::PacketSource::OpenInterface(options.interface)
                              : capture::PacketSource::OpenFile(options.pcap);
}

/// Opens the source, and only then gives up the rights that this takes.
capture::PacketSource OpenConfined(const Options& options) {
  std::optional<capture::Account> account;
  if (geteuid() == 0) account = capture::FindAccount(options.user);
  capture::PacketSource source = Open(options);
  capture::Confine(account ? &*account : nullptr);
  return source;
}

void WriteSummary(const capture::PacketSource& source, const CaptureFeed& feed,
                  const SightingSocket& socket) {
  const capture::Counts& counts = feed.counts();
  std::fprintf(stderr,
               "byod-capture: %ju packets, %ju not captured in time, %ju malformed, %ju sightings "
               "reported, %ju lost\n",
               uintmax_t{counts.packets}, uintmax_t{source.dropped()}, uintmax_t{counts.malformed},
               uintmax_t{socket.sent()}, uintmax_t{socket.dropped()});
}

int Run(const Options& options) {
  capture::PacketSource source = OpenConfined(options);
  EndBySignal(source);
  Reporter reporter(options);
  CaptureFeed feed(options.feed, [&](const Sighting& sighting) {
    return options.print ? Print(sighting) : reporter.Send(sighting);
  });
  if (options.pcap.empty()) {
    std::fprintf(stderr, "byod-capture: capturing on %s\n", options.interface.c_str());
  }
  int status = 0;
  try {
    for (capture::Frame frame; source.Next(frame);)
      feed.Take(frame);
  } catch (const capture::SourceError& error) {
    std::fprintf(stderr, "byod-capture: %s\n", error.what());
    status = kFailed;
  }
  if (!options.print) WriteSummary(source, feed, reporter.socket());
  return status;
}

std::string CheckFeed(const std::string& name) {
  constexpr size_t kMaxName = 32;
  const bool is_name =
      !name.empty() && name.size() <= kMaxName &&
      name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string::npos;
  return is_name ? std::string() : "expected up to 32 of a-z, 0-9 and \"-\", not \"" + name + "\"";
}

/// @return an exit status, or nothing to go on
std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
  CLI::App app("Reports what packets show about terminals to lauthd.", "byod-capture");
  app.set_version_flag("--version", "byod-capture " BYOD_VERSION);
  auto* const interface =
      app.add_option("INTERFACE", options.interface, "Capture on this network interface");
  app.add_option("--pcap", options.pcap,
                 "Read packets from a file instead, \"-\" for standard input")
      ->type_name("FILE")
      ->excludes(interface);
  app.add_option("--socket", options.socket, "The daemon's socket for sightings")
      ->type_name("PATH")
      ->capture_default_str();
  app.add_option("--user", options.user, "User that root becomes when the capture has begun")
      ->capture_default_str();
  app.add_option("--feed", options.feed, "Name under which the daemon knows this feed")
      ->check(CheckFeed)
      ->capture_default_str();
  app.add_flag("--print", options.print, "Write sightings to standard output, and send none");
  try {
    app.parse(argc, argv);
    if (options.interface.empty() && options.pcap.empty()) {
      throw CLI::RequiredError("an interface or --pcap");
    }
  } catch (const CLI::Success& done) {
    return app.exit(done);
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr,
                 "byod-capture: %s\nbyod-capture: \"byod-capture --help\" lists the options\n",
                 error.what());
    return kBadUsage;
  }
  return std::nullopt;
}

}  // namespace
}  // namespace byod::feeds

int main(int argc, char** argv) {
  byod::feeds::Options options;
  if (const auto status = byod::feeds::ReadOptions(argc, argv, options)) return *status;
  try {
    return byod::feeds::Run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "byod-capture: %s\n", error.what());
    return byod::feeds::kFailed;
  }
}
