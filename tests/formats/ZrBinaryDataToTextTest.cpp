// The three array text encodings: fixed examples, an independent Base64, round trips, errors.
#include "formats/ZrBinaryDataToText.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <random>
#include <vector>

#include "tests/common/ZrTestUtil.h"

namespace {

struct Form {
  const char* Name;
  bool UseBase64Alphabet;
  bool Standard;
};

const Form kBinary{"binary", false, false};
const Form kBase64{"base64", true, false};
const Form kBase64b{"base64b", true, true};

std::string Encoded(const std::vector<unsigned char>& bytes, const Form& form) {
  std::string text;
  ZrBinaryDataToText().Encode(bytes.data(), static_cast<uint32_t>(bytes.size()), text,
                              form.UseBase64Alphabet, form.Standard);
  return text;
}

std::vector<unsigned char> Decoded(const std::string& text, const Form& form) {
  std::unique_ptr<unsigned char[]> bytes;
  uint32_t count = 12345;
  ZrBinaryDataToText().Decode(text, bytes, count, form.UseBase64Alphabet, form.Standard);
  return std::vector<unsigned char>(bytes.get(), bytes.get() + count);
}

std::vector<unsigned char> RandomBytes(size_t n, std::mt19937& rng) {
  std::vector<unsigned char> bytes(n);
  for (auto& b : bytes) b = static_cast<unsigned char>(rng());
  return bytes;
}

}  // namespace

TEST(ZrBinaryDataToText, FixedExamples) {
  const std::vector<unsigned char> bytes = {1, 2, 3};
  EXPECT_EQ(Encoded(bytes, kBinary), "0000000318M0");
  EXPECT_EQ(Encoded(bytes, kBase64), "00000003BIwA");
  EXPECT_EQ(Encoded(bytes, kBase64b), "AQID");
  // Four bytes: two groups, the second carrying one data byte and two zero bytes.
  EXPECT_EQ(Encoded({1, 2, 3, 0x3f}, kBinary), "0000000418M0-000");
  EXPECT_EQ(Encoded({}, kBinary), "000000000000");
  EXPECT_EQ(Encoded({}, kBase64), "00000000AAAA");
  EXPECT_EQ(Encoded({}, kBase64b), "AA==");
  EXPECT_EQ(Encoded(std::vector<unsigned char>(300, 0xff), kBase64).substr(0, 8), "0000012c");
}

TEST(ZrBinaryDataToText, StandardMatchesAnIndependentBase64) {
  std::mt19937 rng(20240131);
  for (size_t n = 1; n < 70; ++n) {
    const std::vector<unsigned char> bytes = RandomBytes(n, rng);
    const QByteArray reference =
        QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(n)).toBase64();
    EXPECT_EQ(Encoded(bytes, kBase64b), reference.toStdString()) << n;
  }
}

TEST(ZrBinaryDataToText, EveryLengthComesBackExactlyInEveryForm) {
  std::mt19937 rng(7);
  for (const Form& form : {kBinary, kBase64, kBase64b}) {
    for (size_t n = 0; n < 40; ++n) {
      const std::vector<unsigned char> bytes = RandomBytes(n, rng);
      const std::string text = Encoded(bytes, form);
      const int64_t groups = (static_cast<int64_t>(n) - 1) / 3 + 1;
      EXPECT_EQ(static_cast<int64_t>(text.size()), (form.Standard ? 0 : 8) + 4 * groups);
      if (form.Standard && n == 0) continue;  // AA== reads back as one byte
      EXPECT_EQ(Decoded(text, form), bytes) << form.Name << " " << n;
    }
  }
}

// Decoding: the error text, or for none the bytes read.
struct DecodeCase {
  const char* Text;
  Form Encoding;
  const char* Message;
  std::vector<unsigned char> Bytes;
};

class ZrBinaryDataToTextDecode : public ::testing::TestWithParam<DecodeCase> {};

TEST_P(ZrBinaryDataToTextDecode, MessagesAndPadding) {
  const DecodeCase& c = GetParam();
  std::vector<unsigned char> bytes;
  EXPECT_ZR_ERROR(bytes = Decoded(c.Text, c.Encoding), c.Message);
  EXPECT_EQ(bytes, c.Bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrBinaryDataToTextDecode,
    ::testing::Values(DecodeCase{"AQIDA", kBase64b, "Illigal Data", {}},
                      DecodeCase{"0000000518M0", kBinary, "Size Error", {}},
                      DecodeCase{"0000000318M01", kBinary, "Illigal Data", {}},
                      DecodeCase{"0000000318M0AAAA", kBase64, "Size Error", {}},
                      DecodeCase{"0000", kBase64, "Size Error", {}},
                      DecodeCase{"", kBase64, "Size Error", {}},
                      DecodeCase{"zzzzzzzz0000", kBinary, "Size Error", {}},
                      DecodeCase{"ffffffff0000", kBinary, "Size Error", {}},
                      DecodeCase{"0000000318M0", kBinary, "<no ZrError>", {1, 2, 3}},
                      DecodeCase{"00000000AAAA", kBase64, "<no ZrError>", {}},
                      DecodeCase{"", kBase64b, "<no ZrError>", {}},
                      DecodeCase{"AA==", kBase64b, "<no ZrError>", {0}},
                      DecodeCase{"AQI=", kBase64b, "<no ZrError>", {1, 2}},
                      DecodeCase{"AQ==", kBase64b, "<no ZrError>", {1}},
                      // Characters outside the alphabet count as 0.
                      DecodeCase{"A*ID", kBase64b, "<no ZrError>", {0, 2, 3}},
                      DecodeCase{"A\nB=", kBase64b, "<no ZrError>", {0, 0}}));
