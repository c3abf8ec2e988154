// SPDX-License-Identifier: Apache-2.0
// Attacks byodctl as a whole, by what a daemon may answer it: every command that asks the daemon
// runs, reads, and writes what it has read.
//
// The first byte of the input says which command; the rest is what the daemon sends, in answer to
// whatever is asked, before it closes the connection. Whatever that is, the command ends with a
// documented status, what it writes for people holds no character that a terminal would obey, and
// what it writes for programs is JSON, an object a line.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "fuzz/scratch_directory.h"

// main of byodctl/main.cpp, which is compiled under this name.
int byodctl_main(int argc, char** argv);

namespace {

void Expect(bool truth) {
  if (!truth) std::abort();
}

/// Without the option that says where the daemon is. Those that write JSON stand first.
const std::vector<std::vector<const char*>> kCommands = {
    {"show", "rules", "--json"},
    {"show", "rule", "mac", "00:11:22/24", "--json"},
    {"show", "rule", "user-agent", "iPhone", "--json"},
    {"show", "order", "--json"},
    {"show", "counts", "--json"},
    {"show", "status", "--json"},
    {"show", "unknown", "--json"},
    {"show", "authorization", "--json"},
    {"identify", "--mac", "00:11:22:33:44:55", "--json"},
    {"identify", "--user-agent", "iPhone", "--group", "staff", "--explain", "--json"},
    {"watch", "--json"},
    {"unset", "order", "--json"},
    {"show", "rules"},
    {"show", "rule", "mac", "00:11:22/24"},
    {"show", "rule", "dhcp-option", "1,3,6", "--next"},
    {"show", "order"},
    {"show", "counts"},
    {"show", "status"},
    {"show", "unknown"},
    {"show", "authorization"},
    {"identify", "--mac", "00:11:22:33:44:55"},
    {"identify", "--user-agent", "iPhone", "--group", "staff", "--explain"},
    {"watch"},
    {"export"},
    {"set", "rule", "mac", "00:11:22/24", "--vendor", "V"},
    {"set", "authorization", "staff", "Mobile", "vlan=20"},
    {"reload"},
};
constexpr size_t kJsonCommands = 12;

/// A daemon that answers with the same bytes, whoever asks what.
class Peer {
 public:
  explicit Peer(const std::string& path) : listening_(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    Expect(listening_ >= 0 && path.size() < sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.size());
    unlink(path.c_str());
    Expect(bind(listening_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
    Expect(listen(listening_, 8) == 0);
  }
  ~Peer() { close(listening_); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  /// Answers while a command runs. @return the command's status
  template <typename Command>
  int Answer(std::string_view bytes, Command command) {
    std::thread server([&] {
      for (;;) {
        const int client = accept(listening_, nullptr, nullptr);
        if (client < 0) return;
        char first = 0;
        // Nothing is asked: this is the end.
        const bool asked = recv(client, &first, 1, 0) == 1 && first != 'q';
        if (asked) Serve(client, bytes);
        close(client);
        if (first == 'q') return;
      }
    });
    const int status = command();
    Stop();
    server.join();
    return status;
  }

 private:
  static void Serve(int client, std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) return;
      bytes.remove_prefix(static_cast<size_t>(sent));
    }
    shutdown(client, SHUT_WR);
    char rest[4096];
    while (recv(client, rest, sizeof rest, 0) > 0) {
    }
  }

  void Stop() const {
    sockaddr_un address = {};
    socklen_t size = sizeof address;
    Expect(getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &size) == 0);
    const int last = socket(AF_UNIX, SOCK_STREAM, 0);
    Expect(last >= 0 && connect(last, reinterpret_cast<sockaddr*>(&address), size) == 0);
    Expect(send(last, "q", 1, MSG_NOSIGNAL) == 1);
    close(last);
  }

  int listening_;
};

/// What goes to a stream while this lives.
class Captured {
 public:
  explicit Captured(std::ostream& stream) : stream_(stream), old_(stream.rdbuf(text_.rdbuf())) {}
  ~Captured() {
    stream_.rdbuf(old_);
    stream_.clear();
  }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;
  std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::ostream& stream_;
  std::streambuf* old_;
};

void CheckForPeople(const std::string& text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    Expect((byte >= 0x20 && byte != 0x7F) || c == '\n');
  }
  // The control characters above 0x80, and texts that are not UTF-8.
  Expect(text.find("\xC2\x9B") == std::string::npos);
  nlohmann::json(text).dump();  // throws
}

void CheckForPrograms(const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    Expect(nlohmann::json::parse(line, nullptr, false).is_object());
  Expect(text.empty() || text.back() == '\n');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static const fuzz::ScratchDirectory directory;
  static Peer& peer = [&]() -> Peer& {
    std::ios::sync_with_stdio(false);  // as byodctl does; it would undo what is captured
    setenv("NO_COLOR", "1", 1);
    return *new Peer(directory / "socket");
  }();
  const size_t choice = data[0] % kCommands.size();
  const std::string socket_path = directory / "socket";
  std::vector<const char*> arguments = {"byodctl", "--timeout", "5", "--socket",
                                        socket_path.c_str()};
  arguments.insert(arguments.end(), kCommands[choice].begin(), kCommands[choice].end());
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::string output;
  std::string errors;
  int status = -1;
  {
    const Captured out(std::cout);
    const Captured err(std::cerr);
    status = peer.Answer(bytes, [&] {
      return byodctl_main(static_cast<int>(arguments.size()), const_cast<char**>(arguments.data()));
    });
    output = out.text();
    errors = err.text();
  }
  Expect(status >= 0 && status <= 5);
  CheckForPeople(errors);
  if (choice < kJsonCommands) {
    CheckForPrograms(output);
  } else {
    // A rule file is for both: what is exported stays as it is.
    if (std::strcmp(kCommands[choice][0], "export") != 0) CheckForPeople(output);
  }
  return 0;
}
