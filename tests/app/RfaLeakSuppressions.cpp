// LeakSanitizer suppressions for the GUI test program. Qt 5.15's offscreen platform never
// frees the screen (and its cursor) that it creates with the application object; with the
// default fast unwinder those blocks show only their first frame, hence these names. Objects
// allocated by the application still report with their own frames.
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
  return "leak:libqoffscreen.so\n"
         "leak:QScreen::QScreen\n"
         "leak:QPlatformScreen::QPlatformScreen\n"
         "leak:QWindowSystemInterface::handleScreenAdded\n"
         "leak:QtSharedPointer::ExternalRefCountData::getAndRef\n"
         "leak:QObject::QObject\n";
}
