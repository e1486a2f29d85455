// Test main shared by every suite: one Qt application object for the whole run.
#include <gtest/gtest.h>

#include <cstdlib>

#ifdef ZR_TEST_GUI
#include <QApplication>
using ZrTestApplication = QApplication;

// LeakSanitizer suppressions for GUI suites. Qt 5.15's offscreen platform never frees the
// screen (and its cursor) that it creates with the application object; with the default fast
// unwinder those blocks show only their first frame, hence these names. Objects allocated by
// the program under test still report with their own frames.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libqoffscreen.so\n"
         "leak:QScreen::QScreen\n"
         "leak:QPlatformScreen::QPlatformScreen\n"
         "leak:QWindowSystemInterface::handleScreenAdded\n"
         "leak:QtSharedPointer::ExternalRefCountData::getAndRef\n"
         "leak:QObject::QObject\n";
}
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
