// Linked into every test program with Objective-C in it: the runtime keeps its class tables to the end of the
// process, and the leak checker sees whose they are only with whole call stacks.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __asan_default_options();

extern "C" const char* __lsan_default_suppressions() { return "leak:libobjc.so\n"; }
extern "C" const char* __asan_default_options() { return "fast_unwind_on_malloc=0:malloc_context_size=40"; }
