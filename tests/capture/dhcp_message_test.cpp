// SPDX-License-Identifier: Apache-2.0
#include "capture/dhcp_message.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "support/packets.h"

namespace byod::capture {
namespace {

using byod::test::Dhcp;
using byod::test::Packet;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::optional<DhcpMessage> Read(const Dhcp& dhcp) {
  return ReadDhcpMessage(byod::test::DhcpMessage(dhcp));
}

std::vector<uint8_t> ListOf(const Dhcp& dhcp) {
  const auto message = Read(dhcp);
  return message ? message->option55 : std::vector<uint8_t>();
}

TEST(DhcpMessage, AddressTypeAndListAreRead) {
  Dhcp dhcp;
  dhcp.type = 3;
  dhcp.client_address = {192, 0, 2, 7};
  dhcp.relay = {192, 0, 2, 1};
  dhcp.options = {50, 4, 192, 0, 2, 9, 55, 3, 1, 0, 255};
  const auto message = Read(dhcp);
  ASSERT_TRUE(message);
  EXPECT_TRUE(message->is_request);
  EXPECT_TRUE(message->is_relayed);
  EXPECT_EQ(message->type, DhcpMessage::kRequest);
  EXPECT_EQ(message->client, byod::test::kClient);
  EXPECT_EQ(ToString(message->client_address), "192.0.2.7");
  EXPECT_EQ(ToString(message->requested_address), "192.0.2.9");
  EXPECT_EQ(ToString(message->offered_address), "");
  EXPECT_THAT(message->option55, ElementsAre(1, 0, 255));
}

TEST(DhcpMessage, LeaseTimeVendorClassAndHostNameAreRead) {
  Dhcp dhcp;
  dhcp.options = {12, 3, 'p', 0, 0xFC, 60, 2, 'a', 'b', 51, 4, 1, 2, 3, 4};
  const auto message = Read(dhcp);
  ASSERT_TRUE(message);
  EXPECT_EQ(message->host_name, std::string("p\0\xfc", 3));
  EXPECT_EQ(message->vendor_class, "ab");
  EXPECT_EQ(message->lease_seconds, 0x01020304U);

  dhcp.options = {51, 3, 1, 2, 3};
  EXPECT_EQ(Read(dhcp)->lease_seconds, 0U);
  EXPECT_EQ(Read(dhcp)->host_name, "");
  EXPECT_EQ(Read(dhcp)->vendor_class, "");
}

TEST(DhcpMessage, AListCutAtAnyByteIsNone) {
  const Packet whole = byod::test::DhcpMessage();
  ASSERT_TRUE(ReadDhcpMessage(whole));
  for (size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(ReadDhcpMessage(Bytes(whole).first(size))) << size;
}

TEST(DhcpMessage, OptionsWithoutAnEndAreNone) {
  Dhcp dhcp;
  dhcp.end = {};
  EXPECT_FALSE(Read(dhcp));
  dhcp.end = Packet(60, 0);  // padded
  EXPECT_FALSE(Read(dhcp));
  dhcp.end = Packet(60, 0);
  dhcp.end.push_back(255);
  EXPECT_TRUE(Read(dhcp));
}

TEST(DhcpMessage, WhatStandsBehindTheEndIsNotRead) {
  Dhcp dhcp;
  dhcp.end = {255, 55, 2, 7, 8, 55, 200};
  EXPECT_THAT(ListOf(dhcp), ElementsAre(1, 3, 6, 15));
}

TEST(DhcpMessage, AnOptionLongerThanTheRestIsMalformed) {
  Dhcp dhcp;
  dhcp.options = {55, 5, 1, 3, 6};  // the end becomes part of the list, and none is left
  EXPECT_FALSE(Read(dhcp));
  dhcp.options = {55};
  EXPECT_FALSE(Read(dhcp));
}

TEST(DhcpMessage, AnOptionOfAWrongLengthIsMalformed) {
  for (const Packet& options : std::vector<Packet>{
           {55, 0}, {50, 3, 1, 2, 3}, {53, 1, 1} /* the type twice */, {52, 1, 4}, {52, 1, 0}}) {
    Dhcp dhcp;
    dhcp.options = options;
    EXPECT_FALSE(Read(dhcp)) << int{options[0]};
  }
}

TEST(DhcpMessage, AListThatIsSplitIsPutTogetherUpTo255) {
  Dhcp dhcp;
  dhcp.options = {55, 2, 1, 3, 12, 1, 'x', 55, 1, 6};
  EXPECT_THAT(ListOf(dhcp), ElementsAre(1, 3, 6));
  dhcp.options = {55, 255};
  dhcp.options.insert(dhcp.options.end(), 255, 7);
  EXPECT_THAT(ListOf(dhcp), SizeIs(255));
  dhcp.options.insert(dhcp.options.end(), {55, 1, 7});
  EXPECT_FALSE(Read(dhcp));
}

TEST(DhcpMessage, OptionsInTheFieldsForNamesAreReadWhenAnOptionSaysSo) {
  Dhcp dhcp;
  dhcp.file = {55, 2, 1, 3, 255};
  dhcp.server_name = {55, 1, 6, 255};
  dhcp.options = {};
  EXPECT_THAT(ListOf(dhcp), IsEmpty());
  dhcp.options = {52, 1, 1};
  EXPECT_THAT(ListOf(dhcp), ElementsAre(1, 3));
  dhcp.options = {52, 1, 2};
  EXPECT_THAT(ListOf(dhcp), ElementsAre(6));
  dhcp.options = {52, 1, 3};
  EXPECT_THAT(ListOf(dhcp), ElementsAre(1, 3, 6));
  dhcp.file = {55, 2, 1, 3};  // without an end
  EXPECT_FALSE(Read(dhcp));
}

TEST(DhcpMessage, WithoutATypeItIsNone) {
  Packet message = byod::test::DhcpMessage();
  message[240] = 54;
  EXPECT_FALSE(ReadDhcpMessage(message));
}

TEST(DhcpMessage, OnlyTheAddressOfOneTerminalIsAClient) {
  Dhcp dhcp;
  dhcp.hardware_length = 16;
  EXPECT_FALSE(Read(dhcp));
  dhcp.hardware_length = 6;
  dhcp.client = {};
  EXPECT_FALSE(Read(dhcp));
  dhcp.client = {0x01, 0, 0x5E, 0, 0, 1};
  EXPECT_FALSE(Read(dhcp));
}

TEST(DhcpMessage, AnotherCookieOrOperationIsMalformed) {
  Packet message = byod::test::DhcpMessage();
  message[236] ^= 1;
  EXPECT_FALSE(ReadDhcpMessage(message));
  Dhcp dhcp;
  dhcp.operation = 3;
  EXPECT_FALSE(Read(dhcp));
}

}  // namespace
}  // namespace byod::capture
