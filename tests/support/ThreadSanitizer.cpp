// Part of every test program that the thread sanitizer watches.
//
// The HTTP library of the distribution is not compiled for the sanitizer, which then takes the
// library's guarded static objects for races; so it does with those of ICU, which the first two
// threads that compile an expression share. What these libraries themselves do is not looked at;
// the services that they call are.

// The name is the sanitizer's.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_options();

extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "called_from_lib:libcpp-httplib.so\n"
           "called_from_lib:libicuuc.so\n"
           "called_from_lib:libicui18n.so\n";
}

// A program that is to be killed cannot tell at its end.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
    return "halt_on_error=1";
}
// NOLINTEND(bugprone-reserved-identifier)
