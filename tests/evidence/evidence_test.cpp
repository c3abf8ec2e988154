// SPDX-License-Identifier: Apache-2.0
#include "evidence/evidence.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace byod::evidence {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<uint8_t> kAndroid = {1, 3, 6, 15, 26, 28, 51, 58, 59, 43};

class EvidenceTest : public testing::Test {
 protected:
  EvidenceTest() {
    std::string name = (fs::temp_directory_path() / "evidence.XXXXXX").string();
    directory_ = mkdtemp(name.data());
    fs::create_directory(Catalogue());
    fs::create_directory(Own());
    Write("catalogue/evidence.csv",
          "kind,field,confidence,similarity\n"
          "host-name,category,98,\nhost-name,vendor,97,\nhost-name,os,96,\nhost-name,name,95,\n"
          "vendor-class,category,90,\nvendor-class,os,89,\n"
          "option-list,category,76,90\noption-list,os,86,70\n"
          "brand,category,92,\ndhcp-client,category,60,\ndhcp-client,os,70,\n");
    Write("catalogue/host-name.csv",
          "pattern,name,vendor,category,os,example,mac\n"
          "*iphone*,Apple iPhone,Apple,Mobile,iOS,Toms-iPhone,\n"
          "desk*,,,PC,,,\ndesktop-???,,,PC,Windows,desktop-abc,\n"
          "hs*,,TP-Link,IoT,,,50:c7:bf/24\n");
    Write("catalogue/vendor-class.csv",
          "prefix,vendor,category,os\nMSFT,,PC,Windows\nandroid-dhcp,,Mobile,Android\n");
    Write("catalogue/dhcp-option.csv",
          "options,vendor,category,os\n\"1,3,6,15,26,28,51,58,59,43\",,Mobile,Android\n");
    Write("catalogue/brand-category.csv", "brand,category\nNintendo,Console\n");
    Write("catalogue/dhcp-client.csv",
          "vendor_class,options,category,os\nudhcp,,IoT,Linux\n,\"1,3,6,12,15,28,42\",IoT,Linux\n");
  }
  ~EvidenceTest() override { fs::remove_all(directory_); }

  std::string Catalogue() const { return directory_ / "catalogue"; }
  std::string Own() const { return directory_ / "own"; }

  void Write(const std::string& name, const std::string& content) const {
    std::ofstream(directory_ / name) << content;
  }

  Evidence Load() {
    reports_.clear();
    rulefiles::Diagnostics diagnostics([this](const rulefiles::Diagnostic& diagnostic) {
      reports_.push_back(ToString(diagnostic).substr(Catalogue().size() + 1));
    });
    return Evidence::Load({Catalogue(), Own()}, diagnostics);
  }

  /// "category=PC by host-name desk* 98", for each field that is filled
  std::vector<std::string> Filled(const Texts& known, const Traces& traces,
                                  const Kinds& kinds = Kinds::All()) {
    const Evidence evidence = Load();
    const Fillings filled = evidence.Fill(known, traces, kinds);
    std::vector<std::string> texts;
    for (size_t field = 0; field < kFieldCount; ++field) {
      const Filling& it = filled[field];
      if (!it.IsSet()) continue;
      texts.push_back(std::string{NameOf(static_cast<Field>(field))} + "=" + std::string{it.value} +
                      " by " + std::string{NameOf(it.kind)} + " " + std::string{it.rule} + " " +
                      std::to_string(it.confidence));
    }
    return texts;
  }

  fs::path directory_;
  std::vector<std::string> reports_;
};

Traces Named(std::string_view host_name) {
  Traces traces;
  traces.host_name = host_name;
  return traces;
}

Traces OfClass(std::string_view vendor_class) {
  Traces traces;
  traces.vendor_class = vendor_class;
  return traces;
}

Traces Asking(const std::vector<uint8_t>& options) {
  Traces traces;
  traces.options = options;
  return traces;
}

TEST_F(EvidenceTest, AHostNameFillsWhatIsOpen) {
  EXPECT_THAT(
      Filled({}, Named("Annas-iPhone")),
      ElementsAre("vendor=Apple by host-name *iphone* 97",
                  "category=Mobile by host-name *iphone* 98", "os=iOS by host-name *iphone* 96",
                  "name=Apple iPhone by host-name *iphone* 95"));
  EXPECT_THAT(reports_, IsEmpty());
}

TEST_F(EvidenceTest, AFieldThatIsKnownStaysAsItIs) {
  EXPECT_THAT(Filled({"Acme", "Mobile", "iOS", "it"}, Named("Annas-iPhone")), IsEmpty());
  EXPECT_THAT(Filled({"Acme", "", "iOS", "it"}, Named("Annas-iPhone")),
              ElementsAre("category=Mobile by host-name *iphone* 98"));
}

TEST_F(EvidenceTest, ARuleOfAnotherCategoryOrOsIsPassedOver) {
  EXPECT_THAT(Filled({"", "Printer", "", ""}, Named("Annas-iPhone")), IsEmpty());
  EXPECT_THAT(Filled({"", "", "Android", ""}, Named("Annas-iPhone")), IsEmpty());
  // The next pattern that matches is tried.
  EXPECT_THAT(Filled({"", "", "Linux", ""}, Named("desktop-abc")),
              ElementsAre("category=PC by host-name desk* 98"));
}

TEST_F(EvidenceTest, APatternWithABlockNeedsAnAddressInIt) {
  const std::vector<uint8_t> mac = {0x50, 0xC7, 0xBF, 1, 2, 3};
  Traces traces = Named("HS110");
  EXPECT_THAT(Filled({}, traces), IsEmpty());
  traces.mac = mac;
  EXPECT_THAT(Filled({}, traces), ElementsAre("vendor=TP-Link by host-name hs* 97",
                                              "category=IoT by host-name hs* 98"));
}

TEST_F(EvidenceTest, AVendorClassCountsByHowItBegins) {
  EXPECT_THAT(Filled({}, OfClass("android-dhcp-99")),
              ElementsAre("category=Mobile by vendor-class android-dhcp 90",
                          "os=Android by vendor-class android-dhcp 89"));
  EXPECT_THAT(Filled({}, OfClass("MSF")), IsEmpty());
}

TEST_F(EvidenceTest, AnOptionListFillsEachFieldFromItsOwnSimilarityOn) {
  std::vector<uint8_t> options = kAndroid;
  options.push_back(114);  // 95 %
  EXPECT_THAT(Filled({}, Asking(options)),
              ElementsAre("category=Mobile by option-list 1,3,6,15,26,28,51,58,59,43 76",
                          "os=Android by option-list 1,3,6,15,26,28,51,58,59,43 86"));
  for (uint8_t option = 200; option < 205; ++option)  // 77 %
    options.push_back(option);
  EXPECT_THAT(Filled({}, Asking(options)),
              ElementsAre("os=Android by option-list 1,3,6,15,26,28,51,58,59,43 86"));
}

TEST_F(EvidenceTest, AnOptionListThatHasARuleLeavesOpenWhatTheRuleDoes) {
  EXPECT_THAT(Filled({}, Asking(kAndroid)), IsEmpty());
}

TEST_F(EvidenceTest, ABrandCountsWhetherKnownOrFilled) {
  EXPECT_THAT(Filled({"NINTENDO", "", "", ""}, {}),
              ElementsAre("category=Console by brand Nintendo 92"));
  Write("catalogue/host-name.csv", "pattern,vendor\nwii*,Nintendo\n");
  EXPECT_THAT(Filled({}, Named("WiiU")), ElementsAre("vendor=Nintendo by host-name wii* 97",
                                                     "category=Console by brand Nintendo 92"));
}

TEST_F(EvidenceTest, AClientThatManyDevicesBuildInIsTheWeakestKind) {
  EXPECT_THAT(Filled({}, OfClass("udhcp 1.30")), ElementsAre("category=IoT by dhcp-client udhcp 60",
                                                             "os=Linux by dhcp-client udhcp 70"));
  const std::vector<uint8_t> options = {1, 3, 6, 12, 15, 28, 42};
  EXPECT_THAT(Filled({}, Asking(options)),
              ElementsAre("category=IoT by dhcp-client 1,3,6,12,15,28,42 60",
                          "os=Linux by dhcp-client 1,3,6,12,15,28,42 70"));
  Traces traces = Asking(options);
  traces.host_name = "desk1";
  EXPECT_THAT(Filled({}, traces), ElementsAre("category=PC by host-name desk* 98"));
}

TEST_F(EvidenceTest, OnlyTheKindsThatAreAskedForFill) {
  EXPECT_THAT(Filled({}, Named("Annas-iPhone"), Kinds::None()), IsEmpty());
  Kinds kinds = Kinds::None();
  kinds.Add(Kind::kVendorClass);
  Traces traces = Named("Annas-iPhone");
  traces.vendor_class = "MSFT 5.0";
  EXPECT_THAT(Filled({}, traces, kinds), ElementsAre("category=PC by vendor-class MSFT 90",
                                                     "os=Windows by vendor-class MSFT 89"));
}

TEST_F(EvidenceTest, AnAdministratorsRulesAreTriedFirst) {
  Write("own/host-name.csv", "pattern,category\ndesk*,VoIP\n");
  Write("own/vendor-class.csv", "prefix,category\nMS,Tablet\n");
  Write("own/brand-category.csv", "brand,category\nnintendo,Other\n");
  EXPECT_THAT(Filled({}, Named("desktop-abc")), ElementsAre("category=VoIP by host-name desk* 98"));
  EXPECT_THAT(Filled({}, OfClass("MSFT 5.0")),
              ElementsAre("category=Tablet by vendor-class MS 90"));
  EXPECT_THAT(Filled({"Nintendo", "", "", ""}, {}),
              ElementsAre("category=Other by brand nintendo 92"));
  // One that contradicts what is known leaves the terminal to those of the catalogue.
  EXPECT_THAT(Filled({"", "PC", "", ""}, OfClass("MSFT 5.0")),
              ElementsAre("os=Windows by vendor-class MSFT 89"));
}

TEST_F(EvidenceTest, AKindWithoutAMeasuredValueFillsNothing) {
  Write("catalogue/evidence.csv", "kind,field,confidence\nhost-name,os,50\n");
  EXPECT_THAT(Filled({}, Named("Annas-iPhone")), ElementsAre("os=iOS by host-name *iphone* 50"));
}

TEST_F(EvidenceTest, WithoutFilesNothingIsFilledOrReported) {
  for (const auto& file : fs::directory_iterator(Catalogue()))
    fs::remove(file);
  EXPECT_THAT(Filled({"Nintendo", "", "", ""}, Named("Annas-iPhone")), IsEmpty());
  EXPECT_THAT(reports_, IsEmpty());
  const Evidence none;
  EXPECT_FALSE(none.Fill({}, Named("Annas-iPhone"))[kOs].IsSet());
}

TEST_F(EvidenceTest, RowsThatCannotBeUsedAreReportedAndLeftOut) {
  Write("catalogue/host-name.csv", "pattern,mac,os\n,,A\n" + std::string(256, 'x') +
                                       ",,A\nA,zz,A\na,,iOS\nA,,Other\nb,," + std::string(64, 'o') +
                                       "\n");
  Write("catalogue/dhcp-client.csv", "vendor_class,options\nudhcp,\"1,3\"\n,\"1,300\"\n,\n");
  Write("catalogue/evidence.csv",
        "kind,field,confidence,similarity\nhost-name,os,50,\nhost-name,os,51,\nname,os,50,\n"
        "host-name,type,50,\nhost-name,name,101,\noption-list,os,50,\n");
  EXPECT_THAT(Filled({}, Named("a")), ElementsAre("os=iOS by host-name a 50"));
  EXPECT_THAT(
      reports_,
      ElementsAre(
          "evidence.csv:3: \"host-name os\" is also that of " + Catalogue() + "/evidence.csv:2",
          "evidence.csv:4: kind \"name\" is unknown", "evidence.csv:5: field \"type\" is unknown",
          "evidence.csv:6: confidence \"101\" is not 1 to 100",
          "evidence.csv:7: similarity \"\" is not 1 to 100", "host-name.csv:2: pattern is empty",
          "host-name.csv:3: pattern is 256 bytes long, 255 fit",
          "host-name.csv:4: address \"zz\" is malformed",
          "host-name.csv:6: \"a\" is also that of " + Catalogue() + "/host-name.csv:5",
          "host-name.csv:7: os is 64 bytes long, 63 fit",
          "dhcp-client.csv:2: vendor_class and options stand in one row",
          "dhcp-client.csv:3: option number 300 is above 255",
          "dhcp-client.csv:4: vendor_class is empty"));
}

TEST_F(EvidenceTest, AnExampleThatAnotherRuleDecidesIsFound) {
  EXPECT_THAT(Load().FailedExamples(), IsEmpty());
  Write("catalogue/host-name.csv",
        "pattern,example,mac\ndesk*,desktop-1,\ndesktop-*,,\nphone,fone,\nhs*,HS1,50:c7:bf/24\n");
  std::vector<std::string> failed;
  for (const FailedExample& it : Load().FailedExamples())
    failed.push_back(it.rule + ": " + it.reason.substr(0, it.reason.find(" of ")));
  EXPECT_THAT(failed, ElementsAre("phone: does not match its example",
                                  "desk*: its example is decided by \"desktop-*\""));
}

TEST(ShippedEvidence, IsReadWholeAndEveryExampleWins) {
  std::vector<std::string> reports;
  rulefiles::Diagnostics diagnostics(
      [&](const rulefiles::Diagnostic& diagnostic) { reports.push_back(ToString(diagnostic)); });
  const Evidence evidence = Evidence::Load({RULES_DIRECTORY}, diagnostics);
  EXPECT_THAT(reports, IsEmpty());
  for (const FailedExample& it : evidence.FailedExamples())
    ADD_FAILURE() << ToString(it.place) << ": " << it.rule << ": " << it.reason;
  for (size_t kind = 0; kind < kKindCount; ++kind)
    EXPECT_GT(evidence.Count(static_cast<Kind>(kind)), 20U) << NameOf(static_cast<Kind>(kind));
}

TEST(KindsOfEvidence, AreNamed) {
  for (size_t i = 0; i < kKindCount; ++i)
    EXPECT_EQ(KindNamed(NameOf(static_cast<Kind>(i))), static_cast<Kind>(i));
  EXPECT_EQ(KindNamed("host"), std::nullopt);
}

}  // namespace
}  // namespace byod::evidence
