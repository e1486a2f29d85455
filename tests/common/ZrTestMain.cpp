// Test main shared by every suite: one Qt application object for the whole run.
#include <gtest/gtest.h>

#include <cstdlib>

#ifdef ZR_TEST_GUI
#include <QApplication>
using ZrTestApplication = QApplication;
#else
#include <QCoreApplication>
using ZrTestApplication = QCoreApplication;
#endif

int main(int argc, char** argv) {
  if (std::getenv("QT_QPA_PLATFORM") == nullptr) setenv("QT_QPA_PLATFORM", "offscreen", 1);
  ::testing::InitGoogleTest(&argc, argv);
  ZrTestApplication app(argc, argv);
  return RUN_ALL_TESTS();
}
