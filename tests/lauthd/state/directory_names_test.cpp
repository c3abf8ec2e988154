// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/directory_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/failing_allocator.h"
#include "tests/support/scratch_directory.h"

namespace byod::lauthd {
namespace {

using support::FailingAllocation;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST(NamesIn, AreThoseOfFilesAndDirectories) {
  const support::ScratchDirectory directory;
  directory.Write("mac.csv", "");
  std::filesystem::create_directory(directory / ".hidden");
  EXPECT_THAT(NamesIn(directory.path()), UnorderedElementsAre("mac.csv", ".hidden"));
}

TEST(NamesIn, AreNoneWhereNothingCanBeRead) {
  const support::ScratchDirectory directory;
  EXPECT_THAT(NamesIn(directory / "missing"), IsEmpty());
  EXPECT_THAT(NamesIn(directory.Write("file", "")), IsEmpty());
}

TEST(NamesIn, WithoutMemoryEndWithAnExceptionAndNotWithTheProcess) {
  const support::ScratchDirectory directory;
  directory.Write("a name that does not fit into the string itself.csv", "");
  uint32_t failures = 0;
  for (uint32_t n = 1;; ++n) {
    FailingAllocation failing(n);
    bool ended = false;
    try {
      NamesIn(directory.path());
    } catch (const std::bad_alloc&) {
      ended = true;
    }
    failing.Disarm();
    if (!failing.Failed()) break;
    EXPECT_TRUE(ended) << "allocation " << n;
    ++failures;
  }
  EXPECT_GE(failures, 3u);
}

}  // namespace
}  // namespace byod::lauthd
