// Part of every test program under the thread sanitizer. The distribution's HTTP library and ICU
// are not compiled for it, so it reports false races of their static objects.

// The name is the sanitizer's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_options();

extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "called_from_lib:libcpp-httplib.so\n"
           "called_from_lib:libicuuc.so\n"
           "called_from_lib:libicui18n.so\n";
}

// A killed program cannot report at its end. A program with threads would sleep for a second before
// it ends.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "halt_on_error=1:atexit_sleep_ms=50";
}
// NOLINTEND(bugprone-reserved-identifier)
