// SPDX-License-Identifier: Apache-2.0
// The written form of messages, as docs/message-format.md describes it, and everything that is not
// one.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "lauth_tlv.h"
#include "lauth_tlv_stream.h"
#include "platform/tlv/tlv_bytes.h"

using namespace tlv_bytes;

namespace {

const Bytes kRequest = {0xF9, 0x4C, 0x4D, 0x01, 0x00, 0x00, 0x00, 0x18,   // header
                        0x00, 0x01, 0x00, 0x04, 0x00, 0x00, 0x00, 0x02,   // type 1
                        0x00, 0x02, 0x00, 0x04, 0x00, 0x00, 0x00, 0x0B};  // type 2

const Bytes kReply = {0xF9, 0x4C, 0x4D, 0x01, 0x00, 0x00, 0x00, 0x2D,              // header
                      0x00, 0x0C, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00,              // type 12
                      0x03, 0xEA, 0x00, 0x19,                                      // type 1002
                      0xF9, 0x4C, 0x4D, 0x01, 0x00, 0x00, 0x00, 0x19,              // nested header
                      0x00, 0x06, 0x00, 0x06, 0x00, 0x1A, 0x22, 0x33, 0x44, 0x55,  // type 6
                      0x00, 0x08, 0x00, 0x03, 0x50, 0x43, 0x00};                   // type 8

const std::string kMac("\x00\x1A\x22\x33\x44\x55", 6);
const std::string kName("PC\0", 3);

void ExpectNoMessage(const Bytes& bytes) {
  const uint32_t msg = ReadFrom(bytes);
  EXPECT_EQ(msg, 0u);
  TLV_Destroy(msg);
}

Bytes With(Bytes bytes, size_t at, uint8_t value) {
  bytes.at(at) = value;
  return bytes;
}

// An element's value as a message.
uint32_t Nested(uint32_t msg, uintptr_t at) {
  Bytes value(TLV_GetLenByIterator(msg, at));
  EXPECT_EQ(TLV_GetValueByIterator(msg, at, static_cast<uint16_t>(value.size()), value.data()), 0u);
  return ReadFrom(value);
}

}  // namespace

TEST(MessageFormat, OfTheRequestExampleIsExact) {
  const uint32_t msg = TLV_Create();
  EXPECT_EQ(TLV_Append_UINT(msg, 1, 2), 0u);
  EXPECT_EQ(TLV_Append_UINT(msg, 2, 11), 0u);
  EXPECT_EQ(TLV_GetMsgLen(msg, TLV_MODE_MEMORY), kRequest.size());
  EXPECT_EQ(TLV_GetMsgLen(msg, TLV_MODE_SOCKET), kRequest.size());
  EXPECT_EQ(Written(msg), kRequest);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST(MessageFormat, OfTheRequestExampleIsRead) {
  const uint32_t msg = ReadFrom(kRequest);
  ASSERT_NE(msg, 0u);
  const uintptr_t first = TLV_GetFirst(msg);
  const uintptr_t second = TLV_GetNext(msg, first);
  EXPECT_EQ(TLV_GetTypeByIterator(msg, first), 1u);
  EXPECT_EQ(TLV_GetUINTByIterator(msg, first), 2u);
  EXPECT_EQ(TLV_GetTypeByIterator(msg, second), 2u);
  EXPECT_EQ(TLV_GetUINTByIterator(msg, second), 11u);
  EXPECT_EQ(TLV_GetNext(msg, second), 0u);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST(MessageFormat, OfTheNestedExampleIsExact) {
  const uint32_t inner = Make({{6, kMac}, {8, kName}});
  const Bytes inner_bytes = Written(inner);
  const uint32_t outer = TLV_Create();
  EXPECT_EQ(TLV_Append_UINT(outer, 12, 0), 0u);
  EXPECT_EQ(
      TLV_Append_Data(outer, 1002, static_cast<uint16_t>(inner_bytes.size()), inner_bytes.data()),
      0u);
  EXPECT_EQ(Written(outer), kReply);
  EXPECT_EQ(TLV_Destroy(inner), 0u);
  EXPECT_EQ(TLV_Destroy(outer), 0u);
}

TEST(MessageFormat, OfTheNestedExampleIsRead) {
  const uint32_t outer = ReadFrom(kReply);
  ASSERT_NE(outer, 0u);
  const uint32_t inner = Nested(outer, TLV_GetIteratorByType(outer, 1002));
  ASSERT_NE(inner, 0u);
  EXPECT_EQ(Contents(inner), (Elements{{6, kMac}, {8, kName}}));
  EXPECT_EQ(TLV_Destroy(inner), 0u);
  EXPECT_EQ(TLV_Destroy(outer), 0u);
}

TEST(MessageFormat, OfAnEmptyMessageIsItsHeader) {
  const Bytes empty = {0xF9, 0x4C, 0x4D, 0x01, 0, 0, 0, 8};
  const uint32_t msg = ReadFrom(empty);
  ASSERT_NE(msg, 0u);
  EXPECT_EQ(TLV_GetFirst(msg), 0u);
  EXPECT_EQ(Written(msg), empty);
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST(MessageFormat, IsReadAtAnyAlignment) {
  for (size_t shift = 0; shift < 8; ++shift) {
    Bytes bytes(shift, 0);
    bytes.insert(bytes.end(), kReply.begin(), kReply.end());
    const uint32_t msg = TLV_CreateReceiveMsg(TLV_MODE_MEMORY, Address(bytes.data() + shift),
                                              static_cast<uint32_t>(kReply.size()));
    EXPECT_EQ(Written(msg), kReply);
    EXPECT_EQ(TLV_Destroy(msg), 0u);
  }
}

TEST(MessageFormat, EndsWithItsOwnLengthInALongerBuffer) {
  for (const size_t more : {1u, 3u, 4u, 100u, 5000u}) {
    Bytes bytes = kReply;
    bytes.resize(kReply.size() + more, 0xEE);
    const uint32_t msg = ReadFrom(bytes);
    EXPECT_EQ(Written(msg), kReply) << more;
    EXPECT_EQ(TLV_Destroy(msg), 0u);
  }
}

TEST(MessageFormat, WithDeletedElementsIsThatOfTheOthers) {
  const uint32_t msg = Make({{1, "a"}, {2, "bb"}, {3, "ccc"}});
  EXPECT_EQ(TLV_Delete_Data(msg, TLV_GetIteratorByType(msg, 2)), 0u);
  const uint32_t plain = Make({{1, "a"}, {3, "ccc"}});
  EXPECT_EQ(TLV_GetMsgLen(msg, TLV_MODE_MEMORY), 20u);
  EXPECT_EQ(Written(msg), Written(plain));
  // Writing has not disturbed it.
  EXPECT_EQ(Contents(msg), Contents(plain));
  EXPECT_EQ(TLV_Destroy(msg), 0u);
  EXPECT_EQ(TLV_Destroy(plain), 0u);
}

TEST(NotAMessage, IsEveryTruncationOfOne) {
  for (const Bytes& whole : {kRequest, kReply}) {
    for (size_t size = 0; size < whole.size(); ++size) {
      SCOPED_TRACE(size);
      ExpectNoMessage(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
    }
  }
}

TEST(NotAMessage, IsOneWithAnotherMarkOrVersion) {
  for (size_t at = 0; at < 4; ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      ExpectNoMessage(With(kRequest, at, static_cast<uint8_t>(kRequest[at] ^ 1 << bit)));
    }
  }
}

TEST(NotAMessage, IsOneOfAWrongLength) {
  for (int length = 0; length < 256; ++length) {
    if (length == 0x18 || length == 0x10 || length == 0x08) continue;  // at ends of elements
    SCOPED_TRACE(length);
    Bytes bytes = With(kRequest, 7, static_cast<uint8_t>(length));
    ExpectNoMessage(bytes);
    bytes.resize(300);
    // With room behind it, zeros count as further empty elements of type 0.
    if (length < 0x18 || (length - 0x18) % 4 != 0) ExpectNoMessage(bytes);
  }
  ExpectNoMessage(With(kRequest, 4, 0x80));
  ExpectNoMessage(With(kRequest, 4, 0xFF));
}

TEST(NotAMessage, IsOneWhoseElementReachesBeyondItsEnd) {
  Bytes bytes = With(kRequest, 19, 5);  // the last element's length
  ExpectNoMessage(bytes);
  bytes.resize(100);  // not even where there are bytes behind it
  ExpectNoMessage(bytes);
  ExpectNoMessage(With(kRequest, 18, 0xFF));
  ExpectNoMessage(With(kRequest, 10, 0xFF));
}

TEST(NotAMessage, AreElementsOfOtherKinds) {
  const uint32_t msg = TLV_Create();
  const std::string texts[] = {"", "A", "Mozilla/5.0 (iPad; CPU OS 16_3 like Mac OS X)",
                               "1,3,6,15,119,252", "\xC3\xA9t\xC3\xA9 chez moi"};
  for (const std::string& text : texts) {
    EXPECT_EQ(Append(msg, 5, text), 0u);
    EXPECT_EQ(Append(msg, 5, text + '\0'), 0u);
  }
  for (const uint32_t number : {0u, 1u, 0xF94C4D01u, 0x014D4CF9u}) {
    EXPECT_EQ(TLV_Append_UINT(msg, 1, number), 0u);
  }
  EXPECT_EQ(Append(msg, 6, kMac), 0u);
  EXPECT_EQ(Append(msg, 6, "\xF9\x4C\x4D\x01\xFF\xFF"), 0u);
  for (uintptr_t at = TLV_GetFirst(msg); at != 0; at = TLV_GetNext(msg, at)) {
    EXPECT_EQ(Nested(msg, at), 0u);
  }
  EXPECT_EQ(TLV_Destroy(msg), 0u);
}

TEST(NotAMessage, IsAnythingLongerThanTheLimit) {
  const auto size = static_cast<uint32_t>(kReply.size());
  for (uint32_t limit = 0; limit <= size; ++limit) {
    const uint32_t msg = TLV_CreateReceiveMsg(TLV_MODE_MEMORY, Address(kReply.data()), limit);
    EXPECT_EQ(msg != 0, limit == size);
    EXPECT_EQ(TLV_Destroy(msg), limit == size ? 0u : TLV_ERR_HANDLE);
  }
}

TEST(MutatedMessages, AreRefusedOrReadAsWhatTheySay) {
  std::mt19937 random(20240506);
  Elements elements = {{6, kMac}, {5, std::string(200, 'u')}, {8, kName}, {12, ""}};
  const uint32_t original = Make(elements);
  const Bytes valid[] = {kRequest, kReply, Written(original)};
  EXPECT_EQ(TLV_Destroy(original), 0u);
  int accepted = 0;
  for (int round = 0; round < 100000; ++round) {
    Bytes bytes = valid[random() % 3];
    for (uint32_t changes = 1 + random() % 3; changes > 0; --changes) {
      const size_t at = random() % bytes.size();
      switch (random() % 4) {
        case 0:
          bytes[at] = static_cast<uint8_t>(random());
          break;
        case 1:
          bytes[at] = static_cast<uint8_t>(bytes[at] ^ 1 << random() % 8);
          break;
        case 2:
          bytes.insert(bytes.begin() + static_cast<long>(at), static_cast<uint8_t>(random()));
          break;
        default:
          bytes.erase(bytes.begin() + static_cast<long>(at));
      }
    }
    const uint32_t msg = ReadFrom(bytes);
    if (msg == 0) continue;
    ++accepted;
    const Bytes again = Written(msg);
    ASSERT_LE(again.size(), bytes.size());
    ASSERT_TRUE(std::equal(again.begin(), again.end(), bytes.begin()));
    ASSERT_EQ(TLV_Destroy(msg), 0u);
  }
  EXPECT_GT(accepted, 1000);
  EXPECT_LT(accepted, 99000);
}

TEST(StreamedMessage, HasItsLengthInItsHeader) {
  for (size_t count = 0; count <= kReply.size(); ++count) {
    EXPECT_EQ(TLV_Stream_MessageLength(kReply.data(), count), count < TLV_STREAM_HEADER ? 0 : 0x2D);
  }
  EXPECT_EQ(TLV_Stream_MessageLength(nullptr, 0), 0);
}

TEST(StreamedMessage, MayBeAsLongAs32BitsAllow) {
  const uint8_t longest[] = {0xF9, 0x4C, 0x4D, 0x01, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(TLV_Stream_MessageLength(longest, sizeof longest), 0xFFFFFFFFll);
}

TEST(StreamedMessage, IsRefusedAtTheFirstWrongByte) {
  for (size_t at = 0; at < 4; ++at) {
    const Bytes bytes = With(kRequest, at, 0x20);
    EXPECT_EQ(TLV_Stream_MessageLength(bytes.data(), at), 0);
    EXPECT_EQ(TLV_Stream_MessageLength(bytes.data(), at + 1), -1);
    EXPECT_EQ(TLV_Stream_MessageLength(bytes.data(), bytes.size()), -1);
  }
  const Bytes too_short = With(kRequest, 7, 7);
  EXPECT_EQ(TLV_Stream_MessageLength(too_short.data(), too_short.size()), -1);
}
