// Helpers shared by the test suites: exact error texts and the test data folder.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "numerics/ZrError.h"

// The text of the ZrError that f throws, or "<no ZrError>" when it returns normally.
template <class F>
std::string ZrErrorText(F&& f) {
  try {
    f();
  } catch (const ZrError& e) {
    return e.Message;
  }
  return "<no ZrError>";
}

// Asserts that statement throws ZrError with exactly the given text.
#define EXPECT_ZR_ERROR(statement, expected) \
  EXPECT_EQ(ZrErrorText([&] { statement; }), std::string(expected))

// Names the instances of a table-driven test after the `name` member of their cases.
struct ZrCaseName {
  template <class Case>
  std::string operator()(const ::testing::TestParamInfo<Case>& row) const {
    return std::string(row.param.name);
  }
};

inline std::string ZrTestDataDir() {
  const char* dir = std::getenv("ZR_TEST_DATA_DIR");
  return dir != nullptr ? std::string(dir) : std::string(ZR_SOURCE_DIR "/tests/data");
}
