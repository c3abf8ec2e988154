// SPDX-License-Identifier: Apache-2.0
// Reaching the daemon: what the system is asked for over each transport, and what follows from its
// answers. This program takes the place of socket, connect and close for the library.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "byod_cfgmsg.h"

namespace {

constexpr int kDescriptor = 1'000'000;

struct System {
  bool watched = false;
  int socket_result = kDescriptor;
  std::vector<int> connect_errors;  // 0 = success, which the last one stands for ever after

  std::vector<std::vector<int>> sockets;
  std::vector<std::string> addresses;
  std::vector<int> connected, closed;
};
System machine;

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int socket(int family, int type, int protocol) {
  if (!machine.watched) return Real<int(int, int, int)>("socket")(family, type, protocol);
  machine.sockets.push_back({family, type, protocol});
  errno = EMFILE;
  return machine.socket_result;
}

int connect(int descriptor, const sockaddr* address, socklen_t length) {
  if (!machine.watched) {
    return Real<int(int, const sockaddr*, socklen_t)>("connect")(descriptor, address, length);
  }
  const size_t call = machine.addresses.size();
  machine.connected.push_back(descriptor);
  machine.addresses.emplace_back(reinterpret_cast<const char*>(address), length);
  errno = call < machine.connect_errors.size() ? machine.connect_errors[call] : 0;
  return errno == 0 ? 0 : -1;
}

int close(int descriptor) {
  if (!machine.watched) return Real<int(int)>("close")(descriptor);
  machine.closed.push_back(descriptor);
  errno = EIO;
  return 0;
}

}  // extern "C"

namespace {

struct Connection : testing::Test {
  void SetUp() override {
    machine = {};
    machine.watched = true;
    unsetenv("LAUTHD_SOCKET");
  }
  void TearDown() override { machine.watched = false; }
};

#if defined(BYOD_TESTED_TRANSPORT_DEVICE)

TEST_F(Connection, SocketIsOfFamily37StreamAndProtocol1) {
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), kDescriptor);
  EXPECT_EQ(machine.sockets, (std::vector<std::vector<int>>{{37, SOCK_STREAM, 1}}));
}

TEST_F(Connection, AddressIsTheSixteenBytesOfTheDaemon) {
  BYOD_cfgmsg_ConnectToLauthd();
  ASSERT_EQ(machine.addresses.size(), 1u);
  EXPECT_EQ(machine.addresses[0], std::string("\x10\x25\x0C\x9E\x80\0\0\0\0\0\0\0\0\0\0\0", 16));
}

TEST_F(Connection, PathInTheEnvironmentDoesNotMatter) {
  setenv("LAUTHD_SOCKET", std::string(500, 'p').c_str(), 1);
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), kDescriptor);
  EXPECT_EQ(machine.addresses[0].size(), 16u);
}

#else

std::string PathOf(const std::string& address) {
  sockaddr_un parsed = {};
  EXPECT_LE(address.size(), sizeof parsed);
  std::memcpy(&parsed, address.data(), address.size());
  EXPECT_EQ(parsed.sun_family, AF_UNIX);
  EXPECT_NE(std::memchr(parsed.sun_path, '\0', sizeof parsed.sun_path), nullptr);
  return parsed.sun_path;
}

TEST_F(Connection, SocketIsAUnixStream) {
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), kDescriptor);
  ASSERT_EQ(machine.sockets.size(), 1u);
  EXPECT_EQ(machine.sockets[0][0], AF_UNIX);
  EXPECT_EQ(machine.sockets[0][1] & ~SOCK_CLOEXEC, SOCK_STREAM);
  EXPECT_EQ(machine.sockets[0][2], 0);
}

TEST_F(Connection, DefaultPathIsTheConfiguredOne) {
  BYOD_cfgmsg_ConnectToLauthd();
  ASSERT_EQ(machine.addresses.size(), 1u);
  EXPECT_EQ(PathOf(machine.addresses[0]), BYOD_CONFIGURED_SOCKET);
}

TEST_F(Connection, PathInTheEnvironmentOverridesTheDefault) {
  setenv("LAUTHD_SOCKET", "/tmp/elsewhere", 1);
  BYOD_cfgmsg_ConnectToLauthd();
  setenv("LAUTHD_SOCKET", "/tmp/again", 1);
  BYOD_Init();
  ASSERT_EQ(machine.addresses.size(), 2u);
  EXPECT_EQ(PathOf(machine.addresses[0]), "/tmp/elsewhere");
  EXPECT_EQ(PathOf(machine.addresses[1]), "/tmp/again");
}

TEST_F(Connection, EmptyPathInTheEnvironmentIsNoneAndOneCharacterIsAPath) {
  setenv("LAUTHD_SOCKET", "", 1);
  BYOD_cfgmsg_ConnectToLauthd();
  setenv("LAUTHD_SOCKET", "s", 1);
  BYOD_cfgmsg_ConnectToLauthd();
  ASSERT_EQ(machine.addresses.size(), 2u);
  EXPECT_EQ(PathOf(machine.addresses[0]), BYOD_CONFIGURED_SOCKET);
  EXPECT_EQ(PathOf(machine.addresses[1]), "s");
}

TEST_F(Connection, PathThatDoesNotFitTheAddressIsUnreachableAndNeverCut) {
  constexpr size_t kRoom = sizeof(sockaddr_un::sun_path);
  for (const size_t length : {kRoom - 1, kRoom, kRoom + 1, size_t{5000}}) {
    machine.addresses.clear();
    machine.sockets.clear();
    machine.closed.clear();
    std::string path(length, 'p');
    path[0] = '/';
    setenv("LAUTHD_SOCKET", path.c_str(), 1);
    const int result = BYOD_cfgmsg_ConnectToLauthd();
    if (length < kRoom) {
      EXPECT_EQ(result, kDescriptor);
      EXPECT_EQ(PathOf(machine.addresses[0]), path);
    } else {
      EXPECT_LT(result, 0) << length;
      EXPECT_TRUE(machine.addresses.empty()) << length;
      EXPECT_EQ(machine.sockets.size(), machine.closed.size()) << length;
    }
  }
}

#endif

// ---- the same for both transports

TEST_F(Connection, IsOpenAfterAConnectThatSucceeds) {
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), kDescriptor);
  EXPECT_EQ(machine.connected, std::vector<int>{kDescriptor});
  EXPECT_TRUE(machine.closed.empty());
}

TEST_F(Connection, DescriptorZeroIsAConnection) {
  machine.socket_result = 0;
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), 0);
  EXPECT_EQ(machine.connected, std::vector<int>{0});
}

TEST_F(Connection, FailedSocketIsReturnedAsItIsAndNothingElseHappens) {
  for (const int result : {-1, -2, -24, -2147483647}) {
    machine.socket_result = result;
    EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), result);
    EXPECT_EQ(BYOD_Init(), result);
  }
  EXPECT_TRUE(machine.addresses.empty());
  EXPECT_TRUE(machine.closed.empty());
}

TEST_F(Connection, InterruptedConnectIsRepeatedWithoutLimit) {
  machine.connect_errors.assign(5000, EINTR);
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), kDescriptor);
  EXPECT_EQ(machine.addresses.size(), 5001u);
  for (const std::string& address : machine.addresses)
    EXPECT_EQ(address, machine.addresses[0]);
  EXPECT_EQ(machine.sockets.size(), 1u);
  EXPECT_TRUE(machine.closed.empty());
}

TEST_F(Connection, AlreadyConnectedCountsAsSuccess) {
  machine.connect_errors = {EISCONN};
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), kDescriptor);
  machine.addresses.clear();
  machine.connect_errors = {EINTR, EINTR, EISCONN};
  EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), kDescriptor);
  EXPECT_EQ(machine.addresses.size(), 3u);
  EXPECT_TRUE(machine.closed.empty());
}

TEST_F(Connection, OtherErrorsCloseTheSocketAndGiveMinusOne) {
  for (const int error :
       {ECONNREFUSED, ENOENT, EACCES, EAGAIN, EINPROGRESS, EALREADY, ETIMEDOUT, EBADF}) {
    machine.addresses.clear();
    machine.closed.clear();
    machine.connect_errors = {EINTR, error, 0};
    errno = 0;
    EXPECT_EQ(BYOD_cfgmsg_ConnectToLauthd(), -1) << error;
    EXPECT_EQ(errno, error);  // reported to the caller, whatever closing did
    EXPECT_EQ(machine.addresses.size(), 2u) << error;
    EXPECT_EQ(machine.closed, std::vector<int>{kDescriptor}) << error;
  }
}

TEST_F(Connection, InitIsAConnectionAndFiniClosesItWhenItIsOne) {
  EXPECT_EQ(BYOD_Init(), kDescriptor);
  EXPECT_TRUE(machine.closed.empty());
  BYOD_Fini(kDescriptor);
  BYOD_Fini(0);
  BYOD_Fini(-1);
  BYOD_Fini(-2147483647 - 1);
  EXPECT_EQ(machine.closed, (std::vector<int>{kDescriptor, 0}));
}

}  // namespace
