// SPDX-License-Identifier: Apache-2.0
#include "feeds/sighting_socket.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>

#include "support/scratch_directory.h"

namespace byod::feeds {
namespace {

/// What stands where the daemon's socket is.
class Receiver {
 public:
  explicit Receiver(const std::string& path) : path_(path) {
    unlink(path.c_str());
    sockaddr_un address = {AF_UNIX, ""};
    std::strcpy(address.sun_path, path.c_str());
    socket_ = net::Descriptor(socket(AF_UNIX, SOCK_DGRAM, 0));
    EXPECT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }

  std::optional<std::string> Next() {
    char bytes[8192];
    const ssize_t size = recv(socket_.get(), bytes, sizeof bytes, MSG_DONTWAIT);
    if (size < 0) return std::nullopt;
    return std::string(bytes, static_cast<size_t>(size));
  }

 private:
  std::string path_;
  net::Descriptor socket_;
};

class SocketOfSightings : public testing::Test {
 protected:
  SocketOfSightings() { sighting_.feed = "x"; }

  const support::ScratchDirectory directory_;
  const std::string path_ = directory_ / "sightings.sock";
  Sighting sighting_;
};

TEST_F(SocketOfSightings, CarriesASightingAsOneDatagram) {
  Receiver receiver(path_);
  SightingSocket socket(path_.c_str());
  EXPECT_EQ(socket.Send(sighting_), 0);
  EXPECT_EQ(receiver.Next(), R"({"feed":"x"})");
  EXPECT_EQ(receiver.Next(), std::nullopt);
  EXPECT_EQ(socket.sent(), 1U);
}

TEST_F(SocketOfSightings, AFullQueueLosesSightingsAndTheNextOneSaysHowMany) {
  Receiver receiver(path_);
  SightingSocket socket(path_.c_str());
  const auto start = std::chrono::steady_clock::now();
  while (socket.Send(sighting_) == 0)
    ASSERT_LT(socket.sent(), 100000U);
  EXPECT_EQ(socket.Send(sighting_), EAGAIN);
  EXPECT_EQ(socket.dropped(), 2U);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  while (receiver.Next()) {
  }
  EXPECT_EQ(socket.Send(sighting_), 0);
  EXPECT_EQ(receiver.Next(), R"({"feed":"x","dropped":2})");
  EXPECT_EQ(socket.Send(sighting_), 0);
  EXPECT_EQ(receiver.Next(), R"({"feed":"x"})");
}

TEST_F(SocketOfSightings, ADaemonThatIsRestartedIsFoundAgain) {
  SightingSocket socket(path_.c_str());
  EXPECT_EQ(socket.Send(sighting_), ENOENT);
  {
    Receiver receiver(path_);
    EXPECT_EQ(socket.Send(sighting_), 0);
    EXPECT_EQ(receiver.Next(), R"({"feed":"x","dropped":1})");
  }
  EXPECT_EQ(socket.Send(sighting_), ECONNREFUSED);
  Receiver receiver(path_);
  EXPECT_EQ(socket.Send(sighting_), 0);
  EXPECT_EQ(receiver.Next(), R"({"feed":"x","dropped":1})");
}

TEST_F(SocketOfSightings, APathThatIsTooLongIsRefused) {
  const size_t most = sizeof sockaddr_un{}.sun_path;
  EXPECT_EQ(SightingSocket(std::string(most, 'a').c_str()).Send(sighting_), ENAMETOOLONG);
  EXPECT_EQ(SightingSocket("").Send(sighting_), ENAMETOOLONG);
}

}  // namespace
}  // namespace byod::feeds
