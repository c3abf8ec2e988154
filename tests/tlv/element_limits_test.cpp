// SPDX-License-Identifier: Apache-2.0
// The receiver's limit of every element in every decoder that takes it: nothing, one below, at, and
// one above; and that nothing else is written.
#include <gtest/gtest.h>

#include <string>

#include "support/decoders.h"
#include "support/message.h"

namespace {

using namespace support;

std::string Filled(size_t length) {
  std::string bytes;
  for (size_t i = 0; i < length; ++i)
    bytes.push_back(static_cast<char>('a' + i % 26));
  return bytes;
}

// The records as they are before the first element.
Records Before(const Decoder& decoder) {
  Records records;
  for (const auto& [offset, size] : decoder.clears)
    std::memset(records.at(offset), 0, size);
  return records;
}

template <typename Test>
void ForEach(Kind kind, Test test) {
  int seen = 0;
  for (const Decoder& decoder : AllDecoders()) {
    for (const Destination& to : decoder.takes) {
      if (to.kind != kind) continue;
      SCOPED_TRACE(std::string(decoder.name) + ", type " + std::to_string(to.type));
      test(decoder, to);
      ++seen;
    }
  }
  EXPECT_GT(seen, 0);
}

TEST(ElementLimits, TextFitsUpToItsFieldAndNotEmpty) {
  ForEach(Kind::kText, [](const Decoder& decoder, const Destination& to) {
    for (const size_t length : {size_t{0}, size_t{1}, to.size - 1, to.size, to.size + 1}) {
      SCOPED_TRACE(length);
      const bool accepted = length != 0 && length <= to.size;
      Records expected = Before(decoder);
      if (accepted) {
        std::memcpy(expected.at(to.offset), Filled(length).data(), length);
        *(expected.at(to.offset) + length - 1) = '\0';
      }
      Records records;
      const Message msg({Bytes(to.type, Filled(length))});
      EXPECT_EQ(decoder.decode(msg.get(), records), accepted ? 0u : 0x40010001u);
      EXPECT_TRUE(records == expected);
    }
  });
}

TEST(ElementLimits, AddressFillsAsManyBytesAsItHasUpToSix) {
  ForEach(Kind::kAddress, [](const Decoder& decoder, const Destination& to) {
    for (size_t length = 0; length <= 7; ++length) {
      SCOPED_TRACE(length);
      Records expected = Before(decoder);
      if (length <= 6) std::memcpy(expected.at(to.offset), Filled(length).data(), length);
      Records records;
      const Message msg({Bytes(to.type, Filled(length))});
      EXPECT_EQ(decoder.decode(msg.get(), records), length <= 6 ? 0u : 0x40010001u);
      EXPECT_TRUE(records == expected);
    }
  });
}

TEST(ElementLimits, NumberIsKeptIn32Bits) {
  ForEach(Kind::kNumber, [](const Decoder& decoder, const Destination& to) {
    for (const uint32_t value : {0u, 1u, 0x10000u, 0xFFFFFFFFu}) {
      Records expected = Before(decoder);
      std::memcpy(expected.at(to.offset), &value, 4);
      Records records;
      const Message msg({Number(to.type, value)});
      EXPECT_EQ(decoder.decode(msg.get(), records), 0u);
      EXPECT_TRUE(records == expected) << value;
    }
  });
}

TEST(ElementLimits, SecondWordIsCutTo16Bits) {
  ForEach(Kind::kWord, [](const Decoder& decoder, const Destination& to) {
    for (const uint32_t value : {0u, 1u, 0xFFFFu, 0x10000u, 0xABCD1234u}) {
      const auto cut = static_cast<uint16_t>(value & 0xFFFF);
      Records expected = Before(decoder);
      std::memcpy(expected.at(to.offset), &cut, 2);
      Records records;
      const Message msg({Number(to.type, value)});
      EXPECT_EQ(decoder.decode(msg.get(), records), 0u);
      EXPECT_TRUE(records == expected) << value;
    }
  });
}

TEST(ElementLimits, OptionListAboveItsLimitLeavesNoneAndIsNoFailure) {
  ForEach(Kind::kOption55, [](const Decoder& decoder, const Destination& to) {
    for (const size_t length : {0u, 1u, 254u, 255u, 256u, 300u, 65535u}) {
      SCOPED_TRACE(length);
      const uint32_t valid = length <= 255 ? static_cast<uint32_t>(length) : 0;
      Records expected = Before(decoder);
      std::memcpy(expected.at(to.offset), &valid, 4);
      std::memcpy(expected.at(to.offset) + 4, Filled(valid).data(), valid);
      Records records;
      const Message msg({Bytes(to.type, Filled(length))});
      EXPECT_EQ(decoder.decode(msg.get(), records), 0u);
      EXPECT_TRUE(records == expected);
    }
  });
}

TEST(ElementLimits, ElementOfAnotherTypeIsPassedOverWhateverItsLength) {
  for (const Decoder& decoder : AllDecoders()) {
    SCOPED_TRACE(decoder.name);
    for (uint16_t type = 0; type < 40; ++type) {
      bool taken = false;
      for (const Destination& to : decoder.takes)
        taken = taken || to.type == type;
      if (taken) continue;
      for (const size_t length : {0u, 1u, 4u, 7u, 1000u}) {
        Records records;
        const Message msg({Bytes(type, Filled(length))});
        EXPECT_EQ(decoder.decode(msg.get(), records), 0u) << type;
        EXPECT_TRUE(records == Before(decoder)) << type << " of " << length;
      }
    }
  }
}

TEST(ElementLimits, EmptyMessageWritesNothingButWhatTheAllInfoDecodersClear) {
  int clearing = 0;
  for (const Decoder& decoder : AllDecoders()) {
    SCOPED_TRACE(decoder.name);
    clearing += decoder.clears.empty() ? 0 : 1;
    Records records;
    EXPECT_EQ(decoder.decode(Message().get(), records), 0u);
    EXPECT_TRUE(records == Before(decoder));
  }
  EXPECT_EQ(clearing, 3);
}

}  // namespace
