// Linked into the tests that draw text: fontconfig keeps what it read of its settings and fonts to the end of
// the process, and some of it where the leak checker does not see it.
extern "C" {
// The names are the sanitizers'. NOLINTBEGIN(bugprone-reserved-identifier)
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
// NOLINTEND(bugprone-reserved-identifier)
}
