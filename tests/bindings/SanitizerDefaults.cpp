// Linked into every test program with Objective-C in it: the runtime keeps its class tables to the end of the
// process, and the leak checker sees whose they are only with whole call stacks.
extern "C" {
// The names are the sanitizers'. NOLINTBEGIN(bugprone-reserved-identifier)
const char* __lsan_default_suppressions();
const char* __asan_default_options();

const char* __lsan_default_suppressions() { return "leak:libobjc.so\n"; }
const char* __asan_default_options() { return "fast_unwind_on_malloc=0:malloc_context_size=40"; }
// NOLINTEND(bugprone-reserved-identifier)
}
