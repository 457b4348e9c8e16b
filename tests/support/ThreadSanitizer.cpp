// Part of every test program that the thread sanitizer watches.
//
// The HTTP library of the distribution is not compiled for the sanitizer, which then takes the
// library's guarded static objects for races. What the library itself does is not looked at; the
// services that it calls are.

// The name is the sanitizer's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_options();

extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "called_from_lib:libcpp-httplib.so\n";
}

// A program that is to be killed cannot tell at its end.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "halt_on_error=1";
}
// NOLINTEND(bugprone-reserved-identifier)
