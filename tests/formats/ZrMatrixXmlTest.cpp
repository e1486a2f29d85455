// Matrix values in XML trees: text and binary forms, names by type, errors, round trips.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "formats/ZrBarnXml.h"
#include "tests/common/ZrTestImages.h"
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

std::string TextMatrix(const std::string& shape, const std::string& elements) {
  return "<m><zr_matrix>" + shape + "<elements>" + elements + "</elements></zr_matrix></m>";
}

std::string Shape(int cols, int rows) {
  return "<ColSize>" + std::to_string(cols) + "</ColSize><RowSize>" + std::to_string(rows) +
         "</RowSize>";
}

// A float matrix in binary form (or another type's element name).
std::string Binary(const std::string& shape, const std::string& data,
                   const std::string& type = "ZrFloatMatrixBinary") {
  return "<m><" + type + ">" + shape + data + "</" + type + "></m>";
}

template <class M>
M ReadMatrix(const std::string& text) {
  auto r = Read(text);
  M m;
  EXPECT_TRUE(r->Value("m", m, "ignored"));
  return m;
}

// Random values on a matrix with negative begins.
template <class M>
M Sample(int32_t cols, int32_t rows, uint32_t seed) {
  using T = typename M::value_type;
  M m(cols, rows);
  m.SetBegin(-3, -7);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<long double> real(-1e6, 1e6);
  for (int64_t k = 0; k < m.Count(); ++k) {
    if constexpr (std::is_integral_v<T>) {
      m.Data[k] = static_cast<T>(static_cast<int32_t>(rng()));
    } else {
      m.Data[k] = T(real(rng) / 7);
      if constexpr (std::is_same_v<T, std::complex<long double>>) m.Data[k] += T(0, real(rng));
    }
  }
  return m;
}

// Whether `back` is `v` as the text form keeps it ("%Le", or "%Lg" for integers, printed and
// read back) or, for the binary forms, bit for bit.
template <class T>
bool SameValue(T back, T v, bool text) {
  if (text) {
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), std::is_integral_v<T> ? "%Lg" : "%Le",
                  static_cast<long double>(v));
    return back == static_cast<T>(std::strtold(buffer, nullptr));
  }
  // Only the value bytes count: an x87 long double has padding.
  return std::memcmp(&back, &v, std::is_same_v<T, long double> ? 10 : sizeof(T)) == 0;
}
template <class T>
bool SameValue(std::complex<T> back, std::complex<T> v, bool text) {
  return SameValue(back.real(), v.real(), text) && SameValue(back.imag(), v.imag(), text);
}

}  // namespace

template <class M>
class ZrMatrixXmlTyped : public ::testing::Test {};

using MatrixTypes = ::testing::Types<ZrFloatMatrix, ZrDoubleMatrix, ZrLongMatrix, ZrInt32Matrix,
                                     ZrLDoubleMatrix, ZrLComplexMatrix>;
TYPED_TEST_SUITE(ZrMatrixXmlTyped, MatrixTypes);

TYPED_TEST(ZrMatrixXmlTyped, EveryFormRoundTripsEveryShape) {
  for (const char* format : {"b", "bb", "t"}) {
    for (const auto& [cols, rows] :
         {std::pair{0, 0}, std::pair{1, 1}, std::pair{5, 3}, std::pair{4, 1}, std::pair{1, 7}}) {
      SCOPED_TRACE(std::string(format) + " " + std::to_string(cols) + "x" + std::to_string(rows));
      TypeParam m = Sample<TypeParam>(cols, rows, 11);
      const TypeParam back = ReadMatrix<TypeParam>(WrittenMatrix(m, format));
      EXPECT_EQ(std::make_tuple(back.ColSize, back.RowSize, back.ColBegin, back.RowBegin),
                std::make_tuple(m.ColSize, m.RowSize, m.ColBegin, m.RowBegin));
      for (int64_t k = 0; k < m.Count(); ++k)
        EXPECT_TRUE(SameValue(back.Data[k], m.Data[k], format[0] == 't')) << k;
    }
  }
}

TYPED_TEST(ZrMatrixXmlTyped, MissingElementLeavesTheMatrixUnknownFormatWritesNothing) {
  TypeParam m = Sample<TypeParam>(2, 2, 1);
  EXPECT_FALSE(Read("<other>1</other>")->Value("m", m, "b"));
  EXPECT_EQ(m.ColSize, 2);
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
  const int32_t values[] = {3, -4, 1234567, 0};
  std::copy(values, values + 4, l.Data);
  EXPECT_NE(WrittenMatrix(l, "t").find("<elements>\n3,-4,\n1.23457e+06,0,\n</elements>"),
            std::string::npos);
}

TEST(ZrMatrixXml, ElementNamesByType) {
  const auto written = [](auto m, const char* format) {
    m.Fill({});
    return WrittenMatrix(m, format);
  };
  EXPECT_EQ(written(ZrLDoubleMatrix(1, 1), "b").find("<m><LDoubleMatrixBinary>"), 0U);
  EXPECT_EQ(written(ZrDoubleMatrix(1, 1), "b").find("<m><ZrDoubleMatrixBinary>"), 0U);
  EXPECT_EQ(written(ZrFloatMatrix(1, 1), "bb").find("<m><ZrFloatMatrixBinary>"), 0U);
  EXPECT_EQ(written(ZrLongMatrix(1, 1), "b").find("<m><ZrLongMatrixBinary>"), 0U);
  EXPECT_EQ(written(ZrInt32Matrix(1, 1), "bb").find("<m><ZrLongMatrixBinary>"), 0U);
  EXPECT_EQ(written(ZrLComplexMatrix(1, 1), "t").find("<m><complex_matrix><real><zr_matrix>"), 0U);
  EXPECT_NE(written(ZrFloatMatrix(1, 1), "b").find("<base64>00000004AAAAAAAA</base64>"),
            std::string::npos);
  EXPECT_NE(written(ZrFloatMatrix(1, 1), "bb").find("<base64b>AAAAAA==</base64b>"),
            std::string::npos);
}

TEST(ZrMatrixXml, OlderAndAlternativeNamesAndDataElementsInOrder) {
  const std::string shape =
      "<ColSize>2</ColSize><ColBegin>1</ColBegin><RowSize>1</RowSize><RowBegin>-1</RowBegin>";
  // 1.5 and -2 as little-endian doubles, standard Base64.
  const std::string t =
      Binary(shape, "<base64b>AAAAAAAA+D8AAAAAAAAAwA==</base64b>", "TDoubleMatrixBinary");
  const ZrDoubleMatrix d = ReadMatrix<ZrDoubleMatrix>(t);
  EXPECT_EQ(
      std::make_tuple(d.ColBegin, d.RowBegin, std::vector<double>(d.Data, d.Data + d.Count())),
      std::make_tuple(1, -1, std::vector<double>{1.5, -2}));
  ZrFloatMatrix f(3, 3);  // other types do not accept the alternative name
  EXPECT_TRUE(Read(t)->Value("m", f, "b"));
  EXPECT_EQ(f.ColSize, 3);

  f = ReadMatrix<ZrFloatMatrix>(
      Binary(shape, "<elements>\n2.5e+00,\r\n\t-1,</elements>", "LDoubleMatrix"));
  EXPECT_EQ(ZrPixels(f), std::vector<float>({2.5F, -1.0F}));

  // A 1x1 float whose bytes are 1, 2, 3, 0 in "binary" and 0 in "base64b": "binary" wins.
  f = ReadMatrix<ZrFloatMatrix>(
      Binary(Shape(1, 1), "<base64b>AAAAAA==</base64b><binary>0000000418M00000</binary>"));
  ASSERT_EQ(f.Count(), 1);
  uint32_t bits = 0;
  std::memcpy(&bits, f.Data, 4);
  EXPECT_EQ(bits, 0x030201U);
}

struct ErrorCase {
  std::string Text;
  std::string Message;
};

class ZrMatrixXmlErrors : public ::testing::TestWithParam<ErrorCase> {};

TEST_P(ZrMatrixXmlErrors, Messages) {
  auto r = Read(GetParam().Text);
  ZrFloatMatrix f;
  ZrLComplexMatrix c;
  EXPECT_ZR_ERROR(
      {
        r->Value("m", f, "");
        r->Value("c", c, "");
      },
      GetParam().Message);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrMatrixXmlErrors,
    ::testing::Values(
        ErrorCase{TextMatrix(Shape(2, 1), "1,2,3,"), "Too manay data"},
        ErrorCase{TextMatrix(Shape(2, 1), "1,"), "Data is short"},
        ErrorCase{TextMatrix(Shape(2, 1), "1,2"), "<no ZrError>"},
        ErrorCase{TextMatrix(Shape(-1, 1), ""), "matrix creation Parameter Error"},
        ErrorCase{TextMatrix(Shape(100000, 100000), "1,"), "Data is short"},
        ErrorCase{Binary(Shape(100000, 100000), "<base64b>AA==</base64b>"), "Data is short"},
        ErrorCase{Binary(Shape(1, 1), "<base64b>AAAAAAAA</base64b>"), "Too manay data"},
        ErrorCase{Binary(Shape(1, 1), ""), "Data is short"},
        ErrorCase{Binary(Shape(0, 0), ""), "<no ZrError>"},
        ErrorCase{Binary(Shape(0, 0), "<base64></base64>"), "Size Error"},
        ErrorCase{Binary(Shape(0, 0), "<base64b></base64b>"), "<no ZrError>"},
        ErrorCase{Binary(Shape(0, 0), "<base64b>AA==</base64b>"), "<no ZrError>"},
        ErrorCase{Binary(Shape(1, 1), "<base64b>AAAAA</base64b>"), "Illigal Data"},
        ErrorCase{Binary(Shape(1, 1), "<base64>00000005AAAA</base64>"), "Size Error"},
        ErrorCase{Binary(Shape(1, -3), ""), "matrix creation Parameter Error"},
        ErrorCase{"<c><complex_matrix><real>" + TextMatrix(Shape(1, 1), "1,").substr(3) +
                      "</real><imag>" + TextMatrix(Shape(2, 1), "1,2,").substr(3) +
                      "</imag></complex_matrix></c>",
                  "Matrix size is not same"}));

TEST(ZrMatrixXml, FailedReadLeavesTheCursorWhereItWas) {
  auto r = Read("<t>" + TextMatrix(Shape(2, 1), "1,").substr(0) + "<n>4</n></t>");
  ASSERT_TRUE(r->OpenRack("t"));
  ZrDoubleMatrix m;
  EXPECT_ZR_ERROR(r->Value("m", m, ""), "Data is short");
  int32_t n = 0;
  EXPECT_TRUE(r->Value("n", n, 0) && n == 4);
}

TEST(ZrMatrixXml, TextValuesConvertToIntegersByTruncation) {
  const ZrInt32Matrix m =
      ReadMatrix<ZrInt32Matrix>(TextMatrix(Shape(5, 1), "2.9,-2.9,1e30,nan,junk,"));
  EXPECT_EQ(std::vector<int32_t>(m.Data, m.Data + m.Count()),
            std::vector<int32_t>({2, -2, 2147483647, 0, 0}));
}
