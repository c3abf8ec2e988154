// SPDX-License-Identifier: Apache-2.0
// The messages that the documents show in bytes are what the encoders write.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "byod_tlv.h"
#include "lauth_tlv.h"
#include "protocol/extensions.h"
#include "tlv/append.h"
#include "tlv/message.h"

namespace {

using byod::tlv::Appender;
using byod::tlv::Message;
using Bytes = std::vector<uint8_t>;

bool IsByte(const std::string& word) {
  const auto digit = [](char c) { return std::isdigit(c) != 0 || (c >= 'A' && c <= 'F'); };
  return word.size() == 2 && digit(word[0]) && digit(word[1]);
}

/// The bytes at the start of a line, up to the first word that is none.
Bytes BytesOf(const std::string& line) {
  Bytes bytes;
  std::istringstream words(line);
  for (std::string word; words >> word && IsByte(word);)
    bytes.push_back(static_cast<uint8_t>(std::stoul(word, nullptr, 16)));
  return bytes;
}

/// The messages of a document: indented blocks whose first bytes are a message's mark.
std::vector<Bytes> ExamplesIn(const std::string& document) {
  std::ifstream file(BYOD_DOCS + document);
  EXPECT_TRUE(file.good()) << document;
  std::vector<Bytes> found;
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    const Bytes bytes = line.starts_with("    ") ? BytesOf(line) : Bytes();
    if (bytes.empty()) {
      inside = false;
      continue;
    }
    if (!inside && bytes.front() == 0xF9) found.emplace_back();
    inside = inside || bytes.front() == 0xF9;
    if (inside) found.back().insert(found.back().end(), bytes.begin(), bytes.end());
  }
  return found;
}

Bytes Written(const Message& message) {
  Bytes bytes(TLV_GetMsgLen(message.get(), TLV_MODE_MEMORY));
  EXPECT_EQ(TLV_Flush(message.get(), TLV_MODE_MEMORY, static_cast<uint32_t>(bytes.size()),
                      reinterpret_cast<uintptr_t>(bytes.data())),
            bytes.size());
  return bytes;
}

/// @param fill  (appender) appends the elements
template <typename Fill>
Message Make(Fill fill) {
  Message message(TLV_Create());
  Appender append(message.get());
  fill(append);
  EXPECT_EQ(append.status(), 0u);
  return message;
}

Message OrderRequest() {
  return Make([](Appender& append) {
    append.Number(BYOD_TLV_OPTYPE, BYOD_OP_GET).Number(BYOD_TLV_MSGTYPE, BYOD_MSG_ORDER);
  });
}

Message ListingReply() {
  const Message rule = Make([](Appender& append) {
    const uint8_t mac[] = {0x00, 0x1A, 0x22, 0x33, 0x44, 0x55};
    append.Address(BYOD_TLV_MAC, mac).Text(BYOD_TLV_DEVNAME, "PC");
  });
  return Make([&](Appender& append) {
    append.Combine(BYOD_tlv_EncapErrCode(append.message(), 0));
    append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_RULE, rule.get()));
  });
}

Message IdentifyRequest() {
  return Make([](Appender& append) {
    append.Number(BYOD_TLV_OPTYPE, BYOD_OP_GET)
        .Number(BYOD_TLV_MSGTYPE, BYOD_EXT_MSG_IDENTIFY)
        .Text(BYOD_TLV_USERAGENT, "iPhone")
        .Text(BYOD_EXT_GROUP, "staff");
  });
}

Message IdentifyReply() {
  const Message set = Make([](Appender& append) {
    append.Text(BYOD_EXT_GROUP, "staff")
        .Text(BYOD_TLV_DEVTYPE, "phone")
        .Text(BYOD_EXT_ATTR_NAME, "vlan")
        .Text(BYOD_EXT_ATTR_VALUE, "20");
  });
  return Make([&](Appender& append) {
    append.Number(BYOD_TLV_ERRCODE, 0).Text(BYOD_TLV_DEVTYPE, "phone");
    append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_AUTHORIZATION, set.get()));
  });
}

Message StoredOrder() {
  return Make([](Appender& append) {
    const uint32_t order[3] = {BYOD_METHOD_USERAGENT, BYOD_METHOD_MAC, BYOD_ORDER_NO_SLOT};
    append.Combine(BYOD_tlv_EncapOrder(append.message(), order));
  });
}

Message StoredSet() {
  return Make([](Appender& append) {
    append.Text(BYOD_EXT_ATTR_NAME, "vlan").Text(BYOD_EXT_ATTR_VALUE, "20");
  });
}

/// Every example of every document, in order.
const std::map<std::string, std::vector<Message (*)()>> kExamples = {
    {"message-format.md", {OrderRequest, ListingReply}},
    {"messages.md", {IdentifyRequest, IdentifyReply}},
    {"database.md", {StoredOrder, StoredSet}},
};

}  // namespace

TEST(ByteExamples, AreWhatTheEncodersWrite) {
  for (const auto& [document, makers] : kExamples) {
    const std::vector<Bytes> examples = ExamplesIn(document);
    ASSERT_EQ(examples.size(), makers.size()) << document;
    for (size_t i = 0; i < makers.size(); ++i)
      EXPECT_EQ(examples[i], Written(makers[i]())) << document << ", example " << i + 1;
  }
}

TEST(ByteExamples, AreReadAsMessages) {
  for (const auto& [document, makers] : kExamples) {
    for (const Bytes& example : ExamplesIn(document)) {
      const Message read(TLV_CreateReceiveMsg(TLV_MODE_MEMORY,
                                              reinterpret_cast<uintptr_t>(example.data()),
                                              static_cast<uint32_t>(example.size())));
      ASSERT_TRUE(read) << document;
      EXPECT_EQ(TLV_GetMsgLen(read.get(), TLV_MODE_MEMORY), example.size()) << document;
    }
  }
}
