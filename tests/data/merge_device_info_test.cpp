// SPDX-License-Identifier: Apache-2.0
// How a rule's two device info records become attributes and a type.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "data/internal.h"
#include "support/identification_fixture.h"
#include "support/rule_store_fixture.h"

namespace {

using namespace byod::test;

std::string Merged(const ByodDeviceInfo* predefined, const ByodDeviceInfo* configured,
                   ByodDeviceAttribute attr = {}) {
  byod_data_MergeDeviceInfo(predefined, configured, &attr);
  return InfoText(attr);
}

TEST(MergeDeviceInfo, LetsTheConfiguredFieldWinFieldByField) {
  const ByodDeviceInfo predefined = Info("", "pv", "pc", "po"), configured = Info("", "", "cc");
  EXPECT_EQ(Merged(&predefined, &configured), "pv/cc/po");
  EXPECT_EQ(Merged(&configured, &predefined), "pv/pc/po");
}

TEST(MergeDeviceInfo, NeverOverwritesAFieldThatIsSet) {
  const ByodDeviceInfo predefined = Info("", "pv", "pc", "po"), configured = Info("", "cv", "cc");
  EXPECT_EQ(Merged(&predefined, &configured, KnownAttributes("v", "", "o")), "v/cc/o");
  EXPECT_EQ(Merged(&predefined, &configured, KnownAttributes("v", "c", "o")), "v/c/o");
}

TEST(MergeDeviceInfo, TakesEitherInformationOrNone) {
  const ByodDeviceInfo info = Info("n", "v", "", "o");
  EXPECT_EQ(Merged(&info, nullptr), "v//o");
  EXPECT_EQ(Merged(nullptr, &info), "v//o");
  EXPECT_EQ(Merged(nullptr, nullptr, KnownAttributes("v")), "v//");
}

TEST(MergeDeviceInfo, CutsAFieldAt63Characters) {
  const ByodDeviceInfo info =
      Info("", std::string(63, 'v'), std::string(64, 'c'), std::string(64, 'o'));
  const std::string expected =
      std::string(63, 'v') + "/" + std::string(63, 'c') + "/" + std::string(63, 'o');
  EXPECT_EQ(Merged(&info, nullptr), expected);
  EXPECT_EQ(Merged(nullptr, &info), expected);
}

struct Selected {
  uint32_t result;
  std::string name;
  bool operator==(const Selected&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Selected& selected) {
  return out << std::hex << selected.result << " \"" << selected.name << '"';
}

Selected Select(const ByodDeviceInfo* predefined, const ByodDeviceInfo* configured, uint32_t size) {
  const std::unique_ptr<char[]> out(new char[size]);
  std::memset(out.get(), 'x', size);
  const uint32_t result = byod_data_SelectDeviceName(predefined, configured, size, out.get());
  return {result, std::string(out.get(), strnlen(out.get(), size))};
}

TEST(SelectDeviceName, PrefersTheConfiguredName) {
  const ByodDeviceInfo predefined = Info("pre"), configured = Info("conf"), none = Info("", "v");
  EXPECT_EQ(Select(&predefined, &configured, 128), (Selected{0, "conf"}));
  EXPECT_EQ(Select(&predefined, &none, 128), (Selected{0, "pre"}));
  EXPECT_EQ(Select(&predefined, nullptr, 128), (Selected{0, "pre"}));
  EXPECT_EQ(Select(nullptr, &configured, 128), (Selected{0, "conf"}));
  EXPECT_EQ(Select(&none, &configured, 128), (Selected{0, "conf"}));
}

TEST(SelectDeviceName, WithoutANameFailsAndEmptiesTheOutput) {
  const ByodDeviceInfo none = Info("", "v", "c", "o");
  EXPECT_EQ(Select(&none, &none, 128), (Selected{kFailed, ""}));
  EXPECT_EQ(Select(nullptr, nullptr, 128), (Selected{kFailed, ""}));
  EXPECT_EQ(Select(nullptr, &none, 1), (Selected{kFailed, ""}));
}

TEST(SelectDeviceName, IsNeverCut) {
  const ByodDeviceInfo info = Info("12345");
  EXPECT_EQ(Select(&info, nullptr, 7), (Selected{0, "12345"}));
  EXPECT_EQ(Select(&info, nullptr, 6), (Selected{0, "12345"}));
  EXPECT_EQ(Select(&info, nullptr, 5), (Selected{kFailed, ""}));
  EXPECT_EQ(Select(&info, nullptr, 1), (Selected{kFailed, ""}));
}

TEST(SelectDeviceName, DoesNotFallBackToAShorterPredefinedName) {
  const ByodDeviceInfo predefined = Info("pre"), configured = Info("configured");
  EXPECT_EQ(Select(&predefined, &configured, 6), (Selected{kFailed, ""}));
}

TEST(SelectDeviceName, WritesNothingIntoNoRoom) {
  const ByodDeviceInfo info = Info("12345");
  EXPECT_EQ(Select(&info, nullptr, 0), (Selected{kFailed, ""}));
  EXPECT_EQ(Select(nullptr, nullptr, 0), (Selected{kFailed, ""}));
}

TEST(SelectDeviceName, Of128CharactersDoesNotFit128Bytes) {
  const ByodDeviceInfo longest = Info(std::string(127, 'n'));
  EXPECT_EQ(Select(&longest, nullptr, 128), (Selected{0, std::string(127, 'n')}));
  EXPECT_EQ(Select(&longest, nullptr, 127), (Selected{kFailed, ""}));
  const ByodDeviceInfo too_long = Info(std::string(128, 'n'));  // without its NUL
  EXPECT_EQ(Select(&too_long, nullptr, 128), (Selected{kFailed, ""}));
}

}  // namespace
