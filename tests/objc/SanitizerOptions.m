// What the sanitizers are to make of the Objective-C runtime and of GNUstep, which are not compiled
// for them. Our own code is looked at all the same.

// Objects of GNUstep that live as long as the process but are reachable only from memory that the
// leak checker does not search.
const char *__lsan_default_suppressions(void) {
    return "leak:libobjc.so.4\n"
           "leak:libgnustep-base.so\n";
}

// Stacks through the runtime cannot be walked the fast way, and suppressions need them.
const char *__asan_default_options(void) {
    return "fast_unwind_on_malloc=0";
}

// The counts of references, and the locks, of libraries that it does not see into.
const char *__tsan_default_options(void) {
    return "detect_deadlocks=0";
}

const char *__tsan_default_suppressions(void) {
    return "called_from_lib:libobjc.so.4\n"
           "called_from_lib:libgnustep-base.so\n";
}
