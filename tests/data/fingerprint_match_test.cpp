// What the rules say about a terminal: merging and selecting, the lookups of each table, the six
// methods and their log lines, and the identification in the current order.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/internal.h"
#include "support/log_capture.h"
#include "support/rule_store_fixture.h"
#include "support/rule_tables.h"

namespace {

using namespace byod::test;
using testing::ElementsAre;
using testing::IsEmpty;

ByodDeviceAttribute Attributes(const std::string& vendor = "", const std::string& category = "",
                               const std::string& os = "") {
  ByodDeviceAttribute attr = {};
  Fill(attr.vendor, vendor);
  Fill(attr.category, category);
  Fill(attr.os, os);
  return attr;
}

// ---------------------------------------------------------------- merge and select

std::string Merged(const ByodDeviceInfo* predefined, const ByodDeviceInfo* configured,
                   ByodDeviceAttribute attr = {}) {
  byod_data_MergeDeviceInfo(predefined, configured, &attr);
  return Told(attr);
}

TEST(MergeDeviceInfo, LetsTheConfiguredFieldWinFieldByField) {
  const ByodDeviceInfo predefined = Info("", "pv", "pc", "po"), configured = Info("", "", "cc");
  EXPECT_EQ(Merged(&predefined, &configured), "pv/cc/po");
  EXPECT_EQ(Merged(&configured, &predefined), "pv/pc/po");
}

TEST(MergeDeviceInfo, NeverOverwritesAFieldThatIsSet) {
  const ByodDeviceInfo predefined = Info("", "pv", "pc", "po"), configured = Info("", "cv", "cc");
  EXPECT_EQ(Merged(&predefined, &configured, Attributes("v", "", "o")), "v/cc/o");
  EXPECT_EQ(Merged(&predefined, &configured, Attributes("v", "c", "o")), "v/c/o");
}

TEST(MergeDeviceInfo, TakesEitherInformationOrNone) {
  const ByodDeviceInfo info = Info("n", "v", "", "o");
  EXPECT_EQ(Merged(&info, nullptr), "v//o");
  EXPECT_EQ(Merged(nullptr, &info), "v//o");
  EXPECT_EQ(Merged(nullptr, nullptr, Attributes("v")), "v//");
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

// ---------------------------------------------------------------- fixture

constexpr char kUserAgent[] = "Mozilla/5.0 (iPhone; Mobile)";
constexpr char kMac[] = "00:11:22:33:44:aa";

class Identification : public RuleStoreTest {
 protected:
  /// A terminal that has everything.
  Identification() {
    const uint8_t options[] = {1, 3, 6};
    std::memcpy(fp_.options, options, sizeof options);
    fp_.option_length = sizeof options;
    Fill(fp_.user_agent, kUserAgent);
    const Mac mac = MacOf(kMac);
    std::memcpy(fp_.mac, mac.data(), sizeof fp_.mac);
  }

  static void DhcpRule(const ByodDeviceInfo& info) {
    BYOD_data_AddFileDhcpOptionRule("1,3,6", &info);
  }
  static void UserAgentRule(const ByodDeviceInfo& info, const char* keyword = "iPhone") {
    BYOD_data_AddFileAgentRule(keyword, &info);
  }
  static void MacRule(const ByodDeviceInfo& info, const char* mac = "00:11:22:00:00:00") {
    const ByodMacRule probe = Probe(mac, kPrefixMask);
    BYOD_data_AddFileMacRule(&probe, &info);
  }
  static void SetOrder(uint32_t first, uint32_t second, uint32_t third) {
    const ByodOrder order = {{first, second, third}};
    BYOD_order_SetOrder(&order);
  }

  std::string Attributes(ByodDeviceAttribute attr = {}) {
    const uint32_t result = BYOD_data_GetDeviceAttributeByFingerPrint(&fp_, &attr);
    return (result == 0 ? "" : result == kFailed ? "failed " : "? ") + Told(attr);
  }
  std::string Type(uint32_t size = 128) {
    return Asked(size, BYOD_data_GetDeviceTypeByFingerPrint);
  }
  std::string Vendor(uint32_t size = 128) {
    return Asked(size, BYOD_data_GetDeviceVendorByFingerPrint);
  }

  ByodFingerPrint fp_ = {};
  LogCapture log_;

 private:
  template <typename Ask>
  std::string Asked(uint32_t size, Ask ask) {
    const std::unique_ptr<char[]> out(new char[size]);
    std::memset(out.get(), 'x', size);
    const uint32_t result = ask(&fp_, size, out.get());
    return (result == 0         ? ""
            : result == kFailed ? "failed "
                                : "? ") +
           std::string(out.get(), strnlen(out.get(), size));
  }
};

// ---------------------------------------------------------------- lookups of a table

TEST_F(Identification, UserAgentLookupTakesTheFirstMatchInTheOrderOfTrying) {
  UserAgentRule(Info("short", "", "c"), "iPhone");
  UserAgentRule(Info("long", "v"), "iPhone&&Mobile");
  ByodDeviceAttribute attr = {};
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), 0u);
  EXPECT_EQ(Told(attr), "v//");  // nothing of the shorter one
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), 0u);
  EXPECT_STREQ(name, "long");
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent("iPhone", sizeof name, name), 0u);
  EXPECT_STREQ(name, "short");
}

TEST_F(Identification, UserAgentLookupWithoutAMatchFailsAndLeavesTheAttributes) {
  ByodDeviceAttribute attr = ::Attributes("v");
  char name[128] = "x";
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), kFailed);
  UserAgentRule(Info("n", "v", "c", "o"), "iPad");
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), kFailed);
  EXPECT_EQ(Told(attr), "v//");
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), kFailed);
}

TEST_F(Identification, EmptyExpressionMatchesEveryUserAgentAfterAllOthers) {
  UserAgentRule(Info("any"), "");
  UserAgentRule(Info("iPhone"), "iPhone");
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), 0u);
  EXPECT_STREQ(name, "iPhone");
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent("curl", sizeof name, name), 0u);
  EXPECT_STREQ(name, "any");
}

TEST_F(Identification, UserAgentLookupLetsTheEmptyExpressionMatchTheEmptyString) {
  UserAgentRule(Info("any", "v"), "");
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent("", sizeof name, name), 0u);
  EXPECT_STREQ(name, "any");
  ByodDeviceAttribute attr = {};
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent("", &attr), 0u);
  EXPECT_EQ(Told(attr), "v//");
}

TEST_F(Identification, UserAgentLookupSelectsTheNameOfTheFirstMatchOrNone) {
  UserAgentRule(Info("", "v"), "iPhone&&Mobile");
  UserAgentRule(Info("short"), "iPhone");
  char name[128] = "x";
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), kFailed);
  EXPECT_STREQ(name, "");
}

TEST_F(Identification, MacLookupTakesTheRuleThatCoversTheAddress) {
  MacRule(Info("n", "v", "c", "o"));
  const Mac inside = MacOf("00:11:22:FF:FF:FF"), outside = MacOf("00:11:23:00:00:00");
  ByodDeviceAttribute attr = {};
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevAttriByMac(inside.data(), &attr), 0u);
  EXPECT_EQ(Told(attr), "v/c/o");
  EXPECT_EQ(BYOD_data_GetDevTypeByMac(inside.data(), sizeof name, name), 0u);
  EXPECT_STREQ(name, "n");
  EXPECT_EQ(BYOD_data_GetDevAttriByMac(outside.data(), &attr), kFailed);
  EXPECT_EQ(BYOD_data_GetDevTypeByMac(outside.data(), sizeof name, name), kFailed);
}

TEST_F(Identification, DhcpLookupTakesTheRuleOfTheTextWithoutRegardToCase) {
  const ByodDeviceInfo info = Info("n");
  BYOD_data_AddFileDhcpOptionRule("1,3,6,a", &info);
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevTypeByDhcpOption("1,3,6,A", sizeof name, name), 0u);
  EXPECT_STREQ(name, "n");
  EXPECT_EQ(BYOD_data_GetDevTypeByDhcpOption("1,3,6", sizeof name, name), kFailed);
}

TEST_F(Identification, LookupsMergeTheConfiguredInformationOverThePredefinedOne) {
  MakeModified<UserAgentRules>(std::string("iPhone"), Info("pn", "pv", "pc"), Info("cn", "", "cc"));
  ByodDeviceAttribute attr = {};
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), 0u);
  EXPECT_EQ(Told(attr), "pv/cc/");
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), 0u);
  EXPECT_STREQ(name, "cn");
}

TEST_F(Identification, LookupsLogNothing) {
  DhcpRule(Info("n", "v"));
  UserAgentRule(Info("n", "v"));
  MacRule(Info("n", "v"));
  ByodDeviceAttribute attr = {};
  char name[128];
  EXPECT_EQ(BYOD_data_GetDevAttriByUserAgent(kUserAgent, &attr), 0u);
  EXPECT_EQ(BYOD_data_GetDevAttriByMac(fp_.mac, &attr), 0u);
  EXPECT_EQ(BYOD_data_GetDevTypeByUserAgent(kUserAgent, sizeof name, name), 0u);
  EXPECT_EQ(BYOD_data_GetDevTypeByMac(fp_.mac, sizeof name, name), 0u);
  EXPECT_EQ(BYOD_data_GetDevTypeByDhcpOption("1,3,6", sizeof name, name), 0u);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// ---------------------------------------------------------------- methods and what they log

using AttributeMethod = uint32_t (*)(const ByodFingerPrint*, ByodDeviceAttribute*, uint16_t*);
using TypeMethod = uint32_t (*)(const ByodFingerPrint*, uint32_t, char*);

constexpr AttributeMethod kAttributeMethods[] = {byod_data_AttriByDhcpFingerPrint,
                                                 byod_data_AttriByUserAgentFingerPrint,
                                                 byod_data_AttriByMacFingerPrint};
constexpr TypeMethod kTypeMethods[] = {byod_data_TypeByDhcpFingerPrint,
                                       byod_data_TypeByUserAgentFingerPrint,
                                       byod_data_TypeByMacFingerPrint};

// What the tests expect to read, by method.
std::string AttributeLine(uint32_t method, const std::string& attributes) {
  static const std::string kThrough[] = {
      "2 Identified endpoint attributes through DHCP Option 55 fingerprint: Fingerprint=1,3,6, ",
      "2 Identified endpoint attributes through HTTP user agent fingerprint: "
      "Fingerprint=Mozilla/5.0 (iPhone; Mobile), ",
      "2 Identified endpoint attributes through the endpoint MAC address: "
      "MAC address=00:11:22:33:44:aa, "};
  const size_t category = attributes.find('/') + 1, os = attributes.find('/', category) + 1;
  return kThrough[method] + "device vendor=" + attributes.substr(0, category - 1) +
         ", device category=" + attributes.substr(category, os - 1 - category) +
         ", device OS=" + attributes.substr(os) + ".";
}

std::string TypeLine(uint32_t method, const std::string& type) {
  static const std::string kBy[] = {" by using DhcpOption55 information 1,3,6.",
                                    " by using HttpUseragent information Mozilla/5.0 (iPhone; "
                                    "Mobile).",
                                    " by using MAC address (00:11:22:33:44:aa)."};
  return "2 Identified the terminal type as " + type + kBy[method];
}

TEST_F(Identification, AttributeMethodsTellWhetherAllIsKnownAndLogIt) {
  DhcpRule(Info("n", "v", "c", "o"));
  UserAgentRule(Info("n", "v", "c", "o"));
  MacRule(Info("n", "v", "c", "o"));
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = {};
    uint16_t complete = 77;
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), 0u);
    EXPECT_EQ(complete, 1);
    EXPECT_EQ(Told(attr), "v/c/o");
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(method, "v/c/o")));
  }
}

TEST_F(Identification, AttributeMethodsLogWhatWasKnownBefore) {
  DhcpRule(Info("n", "", "c"));
  UserAgentRule(Info("n", "", "c"));
  MacRule(Info("n", "", "c"));
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = ::Attributes("before", "", "");
    uint16_t complete = 77;
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), 0u);
    EXPECT_EQ(complete, 0);
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(method, "before/c/")));
    attr = ::Attributes("before", "", "before");
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), 0u);
    EXPECT_EQ(complete, 1);
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(method, "before/c/before")));
  }
}

TEST_F(Identification, FoundRuleWithoutInformationIsASuccess) {
  Make<DhcpOptionRules>(std::string("1,3,6"), BYOD_RULE_CUSTOM);
  Make<UserAgentRules>(std::string("iPhone"), BYOD_RULE_CUSTOM);
  const ByodMacRule probe = Probe("00:11:22:00:00:00", kPrefixMask);
  uint16_t created = 0;
  uint32_t err = 0;
  ASSERT_NE(BYOD_data_FindOrNewMacRule(&probe, BYOD_RULE_CUSTOM, &created, &err), nullptr);
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = {};
    uint16_t complete = 77;
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), 0u);
    EXPECT_EQ(complete, 0);
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(method, "//")));
    char name[128];
    EXPECT_EQ(kTypeMethods[method](&fp_, sizeof name, name), kFailed);
    EXPECT_STREQ(name, "");
    EXPECT_THAT(log_.Take(), IsEmpty());
  }
  EXPECT_EQ(Attributes(), "//");
}

TEST_F(Identification, TypeMethodsLogTheType) {
  DhcpRule(Info("by options"));
  UserAgentRule(Info("by agent"));
  MacRule(Info("by address"));
  const char* const expected[] = {"by options", "by agent", "by address"};
  for (uint32_t method = 0; method < 3; ++method) {
    char name[128];
    EXPECT_EQ(kTypeMethods[method](&fp_, sizeof name, name), 0u);
    EXPECT_STREQ(name, expected[method]);
    EXPECT_THAT(log_.Take(), ElementsAre(TypeLine(method, expected[method])));
  }
}

TEST_F(Identification, MethodsFailWithoutARuleAndLogNothing) {
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = ::Attributes("v");
    uint16_t complete = 0;
    char name[128];
    EXPECT_EQ(kAttributeMethods[method](&fp_, &attr, &complete), kFailed);
    EXPECT_EQ(Told(attr), "v//");
    EXPECT_EQ(kTypeMethods[method](&fp_, sizeof name, name), kFailed);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Identification, MethodsFailWithoutTheirPartOfTheFingerprint) {
  DhcpRule(Info("n", "v"));
  const ByodDeviceInfo info = Info("n", "v");
  BYOD_data_AddFileDhcpOptionRule("", &info);  // would match an empty list
  UserAgentRule(Info("n", "v"), "");           // would match an empty User-Agent
  MacRule(Info("zero", "v"), "00:00:00:00:00:00");
  const ByodFingerPrint empty = {};
  for (uint32_t method = 0; method < 3; ++method) {
    ByodDeviceAttribute attr = {};
    uint16_t complete = 0;
    EXPECT_EQ(kAttributeMethods[method](&empty, &attr, &complete), kFailed) << method;
    EXPECT_EQ(Told(attr), "//");
  }
  char name[128];
  EXPECT_EQ(kTypeMethods[BYOD_METHOD_DHCP](&empty, sizeof name, name), kFailed);
  EXPECT_EQ(kTypeMethods[BYOD_METHOD_USERAGENT](&empty, sizeof name, name), kFailed);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Identification, AllZeroAddressIsLookedUpForATypeButNotForAttributes) {
  MacRule(Info("zero", "v"), "00:00:00:00:00:00");
  const ByodFingerPrint empty = {};
  ByodDeviceAttribute attr = {};
  uint16_t complete = 0;
  EXPECT_EQ(byod_data_AttriByMacFingerPrint(&empty, &attr, &complete), kFailed);
  char name[128];
  EXPECT_EQ(byod_data_TypeByMacFingerPrint(&empty, sizeof name, name), 0u);
  EXPECT_STREQ(name, "zero");
  EXPECT_THAT(log_.lines(),
              ElementsAre("2 Identified the terminal type as zero by using MAC address "
                          "(00:00:00:00:00:00)."));
}

TEST_F(Identification, AddressWithASingleBitIsNotAllZero) {
  MacRule(Info("n", "v"), "00:00:00:00:00:00");
  fp_.mac[0] = fp_.mac[1] = fp_.mac[2] = fp_.mac[3] = fp_.mac[4] = 0;
  fp_.mac[5] = 1;
  ByodDeviceAttribute attr = {};
  uint16_t complete = 0;
  EXPECT_EQ(byod_data_AttriByMacFingerPrint(&fp_, &attr, &complete), 0u);
}

TEST_F(Identification, MethodsReadFingerprintsToTheirVeryEnd) {
  fp_.option_length = 127;
  std::memset(fp_.options, 7, sizeof fp_.options);
  std::string text = "7";
  for (int i = 1; i < 127; ++i)
    text += ",7";
  const ByodDeviceInfo info = Info("options");
  BYOD_data_AddFileDhcpOptionRule(text.c_str(), &info);
  char name[128];
  EXPECT_EQ(byod_data_TypeByDhcpFingerPrint(&fp_, sizeof name, name), 0u);
  EXPECT_STREQ(name, "options");
  EXPECT_EQ(
      log_.Take()[0],
      "2 Identified the terminal type as options by using DhcpOption55 information " + text + ".");

  const std::string agent = std::string(249, 'x') + "iPhone";
  Fill(fp_.user_agent, agent);
  UserAgentRule(Info("agent"));
  EXPECT_EQ(byod_data_TypeByUserAgentFingerPrint(&fp_, sizeof name, name), 0u);
  EXPECT_EQ(
      log_.Take()[0],
      "2 Identified the terminal type as agent by using HttpUseragent information " + agent + ".");
}

TEST_F(Identification, OptionListThatDoesNotFitItsTextFails) {
  std::memset(fp_.options, 200, sizeof fp_.options);
  for (const uint32_t length : {64u, 255u, 256u, 257u, 300u, UINT32_MAX}) {
    fp_.option_length = length;
    ByodDeviceAttribute attr = {};
    uint16_t complete = 0;
    char name[128];
    EXPECT_EQ(byod_data_AttriByDhcpFingerPrint(&fp_, &attr, &complete), kFailed) << length;
    EXPECT_EQ(byod_data_TypeByDhcpFingerPrint(&fp_, sizeof name, name), kFailed) << length;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// ---------------------------------------------------------------- attributes

TEST_F(Identification, NeedsFingerprintAndResult) {
  DhcpRule(Info("n", "v"));
  ByodDeviceAttribute attr = ::Attributes("v");
  char out[8] = "x";
  EXPECT_EQ(BYOD_data_GetDeviceAttributeByFingerPrint(nullptr, &attr), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceAttributeByFingerPrint(&fp_, nullptr), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceTypeByFingerPrint(nullptr, sizeof out, out), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceTypeByFingerPrint(&fp_, 8, nullptr), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceVendorByFingerPrint(nullptr, sizeof out, out), kFailed);
  EXPECT_EQ(BYOD_data_GetDeviceVendorByFingerPrint(&fp_, 8, nullptr), kFailed);
  EXPECT_STREQ(out, "x");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Identification, FillsFromLaterMethodsWhatEarlierOnesLeaveEmptyAndStopsWhenAllIsKnown) {
  DhcpRule(Info("", "dhcp vendor"));
  UserAgentRule(Info("", "agent vendor", "agent category", "agent os"));
  MacRule(Info("", "mac vendor", "mac category", "mac os"));
  EXPECT_EQ(Attributes(), "dhcp vendor/agent category/agent os");
  EXPECT_THAT(log_.lines(), ElementsAre(AttributeLine(0, "dhcp vendor//"),
                                        AttributeLine(1, "dhcp vendor/agent category/agent os")));
}

TEST_F(Identification, StopsAtTheFirstMethodThatKnowsAll) {
  DhcpRule(Info("", "v", "c", "o"));
  UserAgentRule(Info("", "V", "C", "O"));
  EXPECT_EQ(Attributes(), "v/c/o");
  EXPECT_THAT(log_.lines(), ElementsAre(AttributeLine(0, "v/c/o")));
}

TEST_F(Identification, OfAPartIsASuccess) {
  MacRule(Info("", "", "", "o"));
  EXPECT_EQ(Attributes(), "//o");
  EXPECT_THAT(log_.lines(), ElementsAre(AttributeLine(2, "//o")));
}

TEST_F(Identification, OfNothingFailsUnlessTheCallerBroughtAField) {
  EXPECT_EQ(Attributes(), "failed //");
  EXPECT_EQ(Attributes(::Attributes("v")), "v//");
  EXPECT_EQ(Attributes(::Attributes("", "c")), "/c/");
  EXPECT_EQ(Attributes(::Attributes("", "", "o")), "//o");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Identification, NeverOverwritesWhatTheCallerBrought) {
  DhcpRule(Info("", "v", "c", "o"));
  EXPECT_EQ(Attributes(::Attributes("", "mine")), "v/mine/o");
}

TEST_F(Identification, StillAsksWhenTheCallerBroughtAll) {
  DhcpRule(Info("", "v"));
  UserAgentRule(Info("", "v"));
  EXPECT_EQ(Attributes(::Attributes("a", "b", "c")), "a/b/c");
  EXPECT_THAT(log_.lines(), ElementsAre(AttributeLine(0, "a/b/c")));
}

TEST_F(Identification, WithNothingKnownGivesTheLastMethodsResult) {
  Make<DhcpOptionRules>(std::string("1,3,6"), BYOD_RULE_CUSTOM);  // found, says nothing
  EXPECT_EQ(Attributes(), "failed //");                           // the others find nothing
  SetOrder(1, 2, 0);
  EXPECT_EQ(Attributes(), "//");
  SetOrder(0, 9, 9);
  EXPECT_EQ(Attributes(), "//");
  SetOrder(0, 1, 9);
  EXPECT_EQ(Attributes(), "failed //");
}

// ---------------------------------------------------------------- order

TEST_F(Identification, TriesTheMethodsInTheCurrentOrder) {
  DhcpRule(Info("d", "d"));
  UserAgentRule(Info("u", "u"));
  MacRule(Info("m", "m"));
  const uint32_t orders[][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (const auto& order : orders) {
    SetOrder(order[0], order[1], order[2]);
    const std::string first(1, "dum"[order[0]]);
    EXPECT_EQ(Attributes(), first + "//");
    EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(order[0], first + "//"),
                                         AttributeLine(order[1], first + "//"),
                                         AttributeLine(order[2], first + "//")));
    EXPECT_EQ(Type(), first);
    EXPECT_THAT(log_.Take(), ElementsAre(TypeLine(order[0], first)));
  }
}

TEST_F(Identification, EndsAtASlotThatNamesNoMethod) {
  DhcpRule(Info("d", "d"));
  UserAgentRule(Info("u", "", "u"));
  MacRule(Info("", "", "", "m"));
  SetOrder(2, 9, 0);
  EXPECT_EQ(Attributes(), "//m");
  EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(2, "//m")));
  EXPECT_EQ(Type(), "failed ");
  EXPECT_THAT(log_.Take(), IsEmpty());

  SetOrder(1, 5, 0);
  EXPECT_EQ(Attributes(), "/u/");
  EXPECT_EQ(Type(), "u");
  SetOrder(1, 0, 3);
  EXPECT_EQ(Attributes(), "d/u/");
  SetOrder(UINT32_MAX, 0, 1);
  EXPECT_EQ(Attributes(), "failed //");
  EXPECT_EQ(Type(), "failed ");
}

TEST_F(Identification, TriesAMethodAsOftenAsItIsNamed) {
  MacRule(Info("", "v"));
  SetOrder(2, 2, 2);
  EXPECT_EQ(Attributes(), "v//");
  EXPECT_THAT(log_.Take(), ElementsAre(AttributeLine(2, "v//"), AttributeLine(2, "v//"),
                                       AttributeLine(2, "v//")));
}

// ---------------------------------------------------------------- type

TEST_F(Identification, GivesTheFirstTypeThatAMethodFinds) {
  DhcpRule(Info("", "v"));  // no name
  UserAgentRule(Info("agent"));
  MacRule(Info("address"));
  EXPECT_EQ(Type(), "agent");
  EXPECT_THAT(log_.lines(), ElementsAre(TypeLine(1, "agent")));
}

TEST_F(Identification, GoesOnFromATypeThatDoesNotFit) {
  DhcpRule(Info("a name of 24 characters."));
  UserAgentRule(Info("short"));
  EXPECT_EQ(Type(25), "a name of 24 characters.");
  EXPECT_EQ(Type(24), "short");
  EXPECT_EQ(Type(5), "failed ");
  EXPECT_THAT(log_.Take(),
              ElementsAre(TypeLine(0, "a name of 24 characters."), TypeLine(1, "short")));
}

TEST_F(Identification, OfNoTypeEmptiesTheOutput) {
  EXPECT_EQ(Type(), "failed ");
  EXPECT_EQ(Type(1), "failed ");
  SetOrder(9, 9, 9);
  EXPECT_EQ(Type(), "failed ");
}

TEST_F(Identification, WritesNothingIntoNoRoom) {
  DhcpRule(Info("n"));
  EXPECT_EQ(Type(0), "failed ");
  EXPECT_EQ(Vendor(0), "");
}

TEST_F(Identification, TypeOf128CharactersFailsInto128Bytes) {
  DhcpRule(Info("x"));
  ByodDhcpOptionRule* rule = BYOD_data_FindDhcpOptionRule("1,3,6");
  Fill(rule->predefined->name, std::string(127, 'n'));
  EXPECT_EQ(Type(128), std::string(127, 'n'));
  EXPECT_EQ(Type(127), "failed ");
  Fill(rule->predefined->name, std::string(128, 'n'));
  EXPECT_EQ(Type(128), "failed ");
}

// ---------------------------------------------------------------- vendor

TEST_F(Identification, DerivesTheVendorFromTheType) {
  MakeModified<UserAgentRules>(std::string("iPhone"), Info("Unknown Box", "Apple"),
                               Info("Galaxy Tab"));
  EXPECT_EQ(Vendor(), "Samsung");
  EXPECT_THAT(log_.lines(), ElementsAre(TypeLine(1, "Galaxy Tab")));
}

TEST_F(Identification, OfATypeWithoutKeywordHasAnUnknownVendor) {
  UserAgentRule(Info("Unknown Box", "Apple"));
  EXPECT_EQ(Vendor(), "unknown");
}

TEST_F(Identification, WithoutATypeHasNoVendor) {
  UserAgentRule(Info("", "Apple", "c", "o"));
  EXPECT_EQ(Vendor(), "failed ");
}

TEST_F(Identification, CutsTheVendorToItsRoom) {
  UserAgentRule(Info("GALAXY"));
  EXPECT_EQ(Vendor(8), "Samsung");
  EXPECT_EQ(Vendor(7), "Samsun");
  EXPECT_EQ(Vendor(1), "");
  BYOD_DeleteUserAgent(BYOD_data_FindUserAgentRule("iPhone"));
  UserAgentRule(Info("Box"));
  EXPECT_EQ(Vendor(4), "unk");
}

TEST_F(Identification, ReadsTheTypeForTheVendorWhateverItsRoom) {
  UserAgentRule(Info(std::string(121, '-') + "iPhone"));
  EXPECT_EQ(Vendor(6), "Apple");
}

}  // namespace
