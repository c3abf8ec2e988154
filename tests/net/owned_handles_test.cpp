// SPDX-License-Identifier: Apache-2.0
// Descriptors and scratch directories go with their scope.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <utility>

#include "net/descriptor.h"
#include "net/scratch_directory.h"

namespace byod::net {
namespace {

bool IsOpen(int number) {
  return fcntl(number, F_GETFD) >= 0;
}

Descriptor OpenAny() {
  return Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

TEST(Descriptor, IsClosedWithItsScope) {
  int number = -1;
  {
    const Descriptor file = OpenAny();
    ASSERT_TRUE(file);
    number = file.get();
    EXPECT_TRUE(IsOpen(number));
  }
  EXPECT_FALSE(IsOpen(number));
}

TEST(Descriptor, MovedFromHasNoneAndTheTargetClosesWhatItHad) {
  Descriptor first = OpenAny();
  Descriptor second = OpenAny();
  const int kept = first.get();
  const int dropped = second.get();
  second = std::move(first);
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): what is left is defined
  EXPECT_EQ(second.get(), kept);
  EXPECT_TRUE(IsOpen(kept));
  EXPECT_FALSE(IsOpen(dropped));
}

TEST(Descriptor, ReleasedIsTheCallers) {
  int number = -1;
  {
    Descriptor file = OpenAny();
    number = file.release();
    EXPECT_FALSE(file);
  }
  EXPECT_TRUE(IsOpen(number));
  close(number);
}

TEST(Descriptor, ClosingReportsItsFailureOnceAndNoneIsNoFailure) {
  Descriptor file = OpenAny();
  close(file.get());
  EXPECT_FALSE(file.Close());
  EXPECT_EQ(errno, EBADF);
  EXPECT_TRUE(file.Close());
  EXPECT_TRUE(Descriptor().Close());
}

TEST(ScratchDirectory, IsPrivateAndRemovedWithWhatIsInIt) {
  std::string path;
  {
    const ScratchDirectory directory(std::filesystem::temp_directory_path() / "byod-test-");
    ASSERT_TRUE(directory);
    path = directory.path();
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    std::ofstream(directory / "file") << "content";
    EXPECT_TRUE(std::filesystem::exists(path + "/file"));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ScratchDirectory, IsRemovedWithDirectoriesInIt) {
  std::string path;
  {
    const ScratchDirectory directory(std::filesystem::temp_directory_path() / "byod-test-");
    ASSERT_TRUE(directory);
    path = directory.path();
    std::filesystem::create_directories(directory / "a/b");
    std::ofstream(directory / "a/b/file") << "content";
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(ScratchDirectory, ThatCannotBeMadeSaysSo) {
  const ScratchDirectory directory("/nowhere/at/all/");
  EXPECT_FALSE(directory);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace byod::net
