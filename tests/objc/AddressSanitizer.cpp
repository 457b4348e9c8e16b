// Part of the tests under the address sanitizer. The runtime of GCC 14 loses what it allocates for
// the classes of a library that the loader brings in.

// The name is the sanitizer's.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions();

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:ld-linux-x86-64.so\n";
}
