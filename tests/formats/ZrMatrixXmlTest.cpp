// Matrix values in XML trees: text and binary forms, names by type, errors, round trips.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "formats/ZrBarnXml.h"
#include "tests/common/ZrTestUtil.h"

namespace {

std::unique_ptr<ZrBarnXml> Read(const std::string& text) {
  auto xml = std::make_unique<ZrBarnXml>("r");
  xml->SetText(text);
  return xml;
}

template <class M>
std::string WrittenMatrix(M& m, const std::string& format) {
  ZrBarnXml w("w");
  w.Value("m", m, format);
  std::string text;
  w.GetText(text);
  return text;
}

template <class M>
M ReadMatrix(const std::string& text) {
  auto r = Read(text);
  M m;
  EXPECT_TRUE(r->Value("m", m, "ignored"));
  return m;
}

// Random values that survive the element type exactly, on a matrix with negative begins.
template <class M>
M Sample(int32_t cols, int32_t rows, uint32_t seed) {
  M m(cols, rows);
  m.SetBegin(-3, -7);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> real(-1e6, 1e6);
  for (int64_t k = 0; k < m.Count(); ++k) {
    using T = typename M::value_type;
    if constexpr (std::is_integral_v<T>) {
      m.Data[k] = static_cast<T>(static_cast<int32_t>(rng()));
    } else {
      m.Data[k] = static_cast<T>(real(rng)) / 7;
    }
  }
  return m;
}

// The value as the text form keeps it: "%Le" (or "%Lg") printed and read back.
template <class T>
T TextRounded(T v) {
  char buffer[64];
  std::snprintf(buffer, sizeof(buffer), std::is_integral_v<T> ? "%Lg" : "%Le",
                static_cast<long double>(v));
  return static_cast<T>(std::strtold(buffer, nullptr));
}

template <class M>
void ExpectSameShape(const M& a, const M& b) {
  EXPECT_EQ(a.ColSize, b.ColSize);
  EXPECT_EQ(a.RowSize, b.RowSize);
  EXPECT_EQ(a.ColBegin, b.ColBegin);
  EXPECT_EQ(a.RowBegin, b.RowBegin);
}

}  // namespace

template <class M>
class ZrMatrixXmlTyped : public ::testing::Test {};

using MatrixTypes =
    ::testing::Types<ZrFloatMatrix, ZrDoubleMatrix, ZrLongMatrix, ZrInt32Matrix, ZrLDoubleMatrix>;
TYPED_TEST_SUITE(ZrMatrixXmlTyped, MatrixTypes);

TYPED_TEST(ZrMatrixXmlTyped, BinaryFormsRoundTripBitForBit) {
  using T = typename TypeParam::value_type;
  for (const char* format : {"b", "bb"}) {
    for (const auto& [cols, rows] :
         {std::pair{0, 0}, std::pair{1, 1}, std::pair{5, 3}, std::pair{4, 1}, std::pair{1, 7}}) {
      TypeParam m = Sample<TypeParam>(cols, rows, 11);
      const TypeParam back = ReadMatrix<TypeParam>(WrittenMatrix(m, format));
      ExpectSameShape(back, m);
      for (int64_t k = 0; k < m.Count(); ++k) {
        // Only the value bytes count: an x87 long double has padding.
        EXPECT_EQ(
            std::memcmp(&back.Data[k], &m.Data[k], std::is_same_v<T, long double> ? 10 : sizeof(T)),
            0)
            << format << " " << k;
      }
    }
  }
}

TYPED_TEST(ZrMatrixXmlTyped, TextFormRoundTripKeepsSixDecimals) {
  using T = typename TypeParam::value_type;
  for (const auto& [cols, rows] : {std::pair{0, 0}, std::pair{3, 2}, std::pair{1, 4}}) {
    TypeParam m = Sample<TypeParam>(cols, rows, 5);
    const std::string text = WrittenMatrix(m, "t");
    const TypeParam back = ReadMatrix<TypeParam>(text);
    ExpectSameShape(back, m);
    for (int64_t k = 0; k < m.Count(); ++k) EXPECT_EQ(back.Data[k], TextRounded<T>(m.Data[k]));
  }
}

TYPED_TEST(ZrMatrixXmlTyped, MissingElementLeavesTheMatrix) {
  TypeParam m = Sample<TypeParam>(2, 2, 1);
  auto r = Read("<other>1</other>");
  EXPECT_FALSE(r->Value("m", m, "b"));
  EXPECT_EQ(m.ColSize, 2);
}

TYPED_TEST(ZrMatrixXmlTyped, UnknownWriteFormat) {
  TypeParam m(1, 1);
  ZrBarnXml w("w");
  EXPECT_ZR_ERROR(w.Value("m", m, "x"), "Write format error");
  EXPECT_ZR_ERROR(w.CloseRack(), "Over CloseRack");  // nothing was left open
}

TEST(ZrMatrixXml, TextFormLayout) {
  ZrDoubleMatrix m(2, 1);
  m.Data[0] = 1;
  m.Data[1] = 2;
  EXPECT_EQ(WrittenMatrix(m, "t"),
            "<m><zr_matrix><ColSize>2</ColSize>\n<ColBegin>0</ColBegin>\n<RowSize>1</RowSize>\n"
            "<RowBegin>0</RowBegin>\n<elements>\n1.000000e+00,2.000000e+00,\n</elements>\n"
            "</zr_matrix>\n</m>\n");
  ZrLongMatrix l(2, 2);
  l.Data[0] = 3;
  l.Data[1] = -4;
  l.Data[2] = 1234567;
  l.Data[3] = 0;
  EXPECT_NE(WrittenMatrix(l, "t").find("<elements>\n3,-4,\n1.23457e+06,0,\n</elements>"),
            std::string::npos);
}

TEST(ZrMatrixXml, BinaryElementNamesByType) {
  ZrLDoubleMatrix ld(1, 1);
  ZrDoubleMatrix d(1, 1);
  ZrFloatMatrix f(1, 1);
  ZrLongMatrix l(1, 1);
  ZrInt32Matrix i(1, 1);
  ld.Fill(0);
  d.Fill(0);
  f.Fill(0);
  l.Fill(0);
  i.Fill(0);
  EXPECT_EQ(WrittenMatrix(ld, "b").find("<m><LDoubleMatrixBinary>"), 0U);
  EXPECT_EQ(WrittenMatrix(d, "b").find("<m><ZrDoubleMatrixBinary>"), 0U);
  EXPECT_EQ(WrittenMatrix(f, "bb").find("<m><ZrFloatMatrixBinary>"), 0U);
  EXPECT_EQ(WrittenMatrix(l, "b").find("<m><ZrLongMatrixBinary>"), 0U);
  EXPECT_EQ(WrittenMatrix(i, "bb").find("<m><ZrLongMatrixBinary>"), 0U);
  EXPECT_NE(WrittenMatrix(f, "b").find("<base64>00000004AAAAAAAA</base64>"), std::string::npos);
  EXPECT_NE(WrittenMatrix(f, "bb").find("<base64b>AAAAAA==</base64b>"), std::string::npos);
}

TEST(ZrMatrixXml, OlderAndAlternativeNamesAreRead) {
  const std::string shape =
      "<ColSize>2</ColSize><ColBegin>1</ColBegin><RowSize>1</RowSize><RowBegin>-1</RowBegin>";
  // 1.5 and -2 as little-endian doubles, standard Base64.
  const std::string data = "<base64b>AAAAAAAA+D8AAAAAAAAAwA==</base64b>";
  const ZrDoubleMatrix t = ReadMatrix<ZrDoubleMatrix>("<m><TDoubleMatrixBinary>" + shape + data +
                                                      "</TDoubleMatrixBinary></m>");
  ASSERT_EQ(t.Count(), 2);
  EXPECT_EQ(t(1, -1), 1.5);
  EXPECT_EQ(t(2, -1), -2);
  // Other types do not accept the alternative name.
  auto r = Read("<m><TDoubleMatrixBinary>" + shape + data + "</TDoubleMatrixBinary></m>");
  ZrFloatMatrix f(3, 3);
  EXPECT_TRUE(r->Value("m", f, "b"));
  EXPECT_EQ(f.ColSize, 3);

  const ZrFloatMatrix old =
      ReadMatrix<ZrFloatMatrix>("<m><LDoubleMatrix>" + shape +
                                "<elements>\n2.5e+00,\r\n\t-1,</elements></LDoubleMatrix></m>");
  ASSERT_EQ(old.Count(), 2);
  EXPECT_EQ(old.Data[0], 2.5F);
  EXPECT_EQ(old.Data[1], -1.0F);
}

TEST(ZrMatrixXml, DataElementsAreTriedInOrder) {
  // A 1x1 float whose bytes are 1, 2, 3, 0 in "binary" and 0 in "base64b".
  const std::string one =
      "<ColSize>1</ColSize><ColBegin>0</ColBegin><RowSize>1</RowSize><RowBegin>0</RowBegin>";
  const ZrFloatMatrix own = ReadMatrix<ZrFloatMatrix>(
      "<m><ZrFloatMatrixBinary>" + one +
      "<base64b>AAAAAA==</base64b><binary>0000000418M00000</binary></ZrFloatMatrixBinary></m>");
  ASSERT_EQ(own.Count(), 1);
  uint32_t bits = 0;
  std::memcpy(&bits, own.Data, 4);
  EXPECT_EQ(bits, 0x030201U);  // "binary" wins over "base64b"
}

TEST(ZrMatrixXml, ComplexRoundTrip) {
  ZrLComplexMatrix c(3, 2);
  c.SetBegin(4, -2);
  for (int64_t k = 0; k < c.Count(); ++k) {
    c.Data[k] = {static_cast<long double>(k) / 3, -static_cast<long double>(k) * 1.25L};
  }
  for (const char* format : {"b", "bb", "t"}) {
    ZrBarnXml w("w");
    w.Value("c", c, format);
    std::string text;
    w.GetText(text);
    EXPECT_EQ(text.find("<c><complex_matrix><real>"), 0U);
    auto r = Read(text);
    ZrLComplexMatrix back;
    EXPECT_TRUE(r->Value("c", back, ""));
    ExpectSameShape(back, c);
    for (int64_t k = 0; k < c.Count(); ++k) {
      if (std::string(format) == "t") {
        EXPECT_EQ(back.Data[k].real(), TextRounded(c.Data[k].real()));
        EXPECT_EQ(back.Data[k].imag(), TextRounded(c.Data[k].imag()));
      } else {
        EXPECT_EQ(back.Data[k], c.Data[k]);
      }
    }
  }
}

namespace {

std::string TextMatrix(const std::string& shape, const std::string& elements) {
  return "<m><zr_matrix>" + shape + "<elements>" + elements + "</elements></zr_matrix></m>";
}

std::string Shape(int cols, int rows) {
  return "<ColSize>" + std::to_string(cols) + "</ColSize><RowSize>" + std::to_string(rows) +
         "</RowSize>";
}

std::string Binary(const std::string& type, const std::string& shape, const std::string& data) {
  return "<m><" + type + ">" + shape + data + "</" + type + "></m>";
}

}  // namespace

struct MatrixErrorCase {
  std::string text;
  std::string message;
};

class ZrMatrixXmlErrors : public ::testing::TestWithParam<MatrixErrorCase> {};

TEST_P(ZrMatrixXmlErrors, Messages) {
  auto r = Read(GetParam().text);
  ZrFloatMatrix f;
  ZrLComplexMatrix c;
  EXPECT_ZR_ERROR(
      {
        r->Value("m", f, "");
        r->Value("c", c, "");
      },
      GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrMatrixXmlErrors,
    ::testing::Values(
        MatrixErrorCase{TextMatrix(Shape(2, 1), "1,2,3,"), "Too manay data"},
        MatrixErrorCase{TextMatrix(Shape(2, 1), "1,"), "Data is short"},
        MatrixErrorCase{TextMatrix(Shape(2, 1), "1,2"), "<no ZrError>"},
        MatrixErrorCase{TextMatrix(Shape(-1, 1), ""), "matrix creation Parameter Error"},
        MatrixErrorCase{TextMatrix(Shape(100000, 100000), "1,"), "Data is short"},
        MatrixErrorCase{
            Binary("ZrFloatMatrixBinary", Shape(100000, 100000), "<base64b>AA==</base64b>"),
            "Data is short"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(1, 1), "<base64b>AAAAAAAA</base64b>"),
                        "Too manay data"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(1, 1), ""), "Data is short"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(0, 0), ""), "<no ZrError>"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(0, 0), "<base64></base64>"),
                        "Size Error"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(0, 0), "<base64b></base64b>"),
                        "<no ZrError>"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(0, 0), "<base64b>AA==</base64b>"),
                        "<no ZrError>"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(1, 1), "<base64b>AAAAA</base64b>"),
                        "Illigal Data"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(1, 1), "<base64>00000005AAAA</base64>"),
                        "Size Error"},
        MatrixErrorCase{Binary("ZrFloatMatrixBinary", Shape(1, -3), ""),
                        "matrix creation Parameter Error"},
        MatrixErrorCase{"<c><complex_matrix><real>" + TextMatrix(Shape(1, 1), "1,").substr(3) +
                            "</real><imag>" + TextMatrix(Shape(2, 1), "1,2,").substr(3) +
                            "</imag></complex_matrix></c>",
                        "Matrix size is not same"}));

TEST(ZrMatrixXml, FailedReadLeavesTheCursorWhereItWas) {
  auto r = Read("<t>" + TextMatrix(Shape(2, 1), "1,").substr(0) + "<n>4</n></t>");
  ASSERT_TRUE(r->OpenRack("t"));
  ZrDoubleMatrix m;
  EXPECT_ZR_ERROR(r->Value("m", m, ""), "Data is short");
  int32_t n = 0;
  EXPECT_TRUE(r->Value("n", n, 0));
  EXPECT_EQ(n, 4);
}

TEST(ZrMatrixXml, TextValuesConvertToIntegersByTruncation) {
  const ZrInt32Matrix m =
      ReadMatrix<ZrInt32Matrix>(TextMatrix(Shape(5, 1), "2.9,-2.9,1e30,nan,junk,"));
  ASSERT_EQ(m.Count(), 5);
  EXPECT_EQ(m.Data[0], 2);
  EXPECT_EQ(m.Data[1], -2);
  EXPECT_EQ(m.Data[2], 2147483647);
  EXPECT_EQ(m.Data[3], 0);
  EXPECT_EQ(m.Data[4], 0);
}
