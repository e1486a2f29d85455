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
    return std::string(row.param.Name);
  }
};

// Sets an environment variable for the life of the object, then restores what was there.
class ZrScopedEnvironment {
 public:
  ZrScopedEnvironment(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    setenv(name, value, 1);
  }
  ~ZrScopedEnvironment() {
    if (had_) {
      setenv(name_.c_str(), old_.c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }
  ZrScopedEnvironment(const ZrScopedEnvironment&) = delete;
  ZrScopedEnvironment& operator=(const ZrScopedEnvironment&) = delete;

 private:
  std::string name_, old_;
  bool had_ = false;
};

inline std::string ZrTestDataDir() {
  const char* dir = std::getenv("ZR_TEST_DATA_DIR");
  return dir != nullptr ? std::string(dir) : std::string(ZR_SOURCE_DIR "/tests/data");
}
