// GNUstep is not compiled for the sanitizers: it has leaks of its own, and takes locks in either
// order.

const char *__asan_default_options(void);
const char *__tsan_default_suppressions(void);

const char *__asan_default_options(void) {
    return "detect_leaks=0";
}
const char *__tsan_default_suppressions(void) {
    return "deadlock:libgnustep-base.so\n";
}
