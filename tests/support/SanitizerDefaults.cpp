// What the sanitizers are told in every test program, however it is started.
// The names are theirs.

extern "C" {

const char* __asan_default_options();
const char* __lsan_default_suppressions();
const char* __tsan_default_options();
const char* __ubsan_default_options();

// A thread that is ended by force never gives its alternate stack back. Sizes
// that no memory has are asked for on purpose. Programs that take sources of
// the library for their own have its tables twice.
const char* __asan_default_options() {
    return "allocator_may_return_null=1:detect_odr_violation=1:"
           "detect_stack_use_after_return=1:use_sigaltstack=0";
}

// The one byte that each call abandons, by design.
const char* __lsan_default_suppressions() { return "leak:Novu::wcs_to_utf8\n"; }

const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

const char* __ubsan_default_options() { return "print_stacktrace=1"; }

}  // extern "C"
