// Linked into the tests that draw text: fontconfig keeps what it read of its settings and fonts to the end of
// the process, and some of it where the leak checker does not see it.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
