#import "Harness.h"

#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

static int failures;
static int trackedCount;
static FILE *report;  // the standard error of the process

void checkThat(bool holds, const char *condition, const char *file, int line) {
    if (holds) return;
    __atomic_add_fetch(&failures, 1, __ATOMIC_RELAXED);
    fprintf(report, "%s:%d: does not hold: %s\n", file, line, condition);
}

void checkEqual(id found, id expected, const char *file, int line) {
    if (found == expected || [found isEqual:expected]) return;
    NSString *difference = [NSString stringWithFormat:@"%@ is %@", found, expected];
    checkThat(false, [difference UTF8String], file, line);
}

NSString *standardErrorOf(void (^code)(void)) {
    FILE *file = tmpfile();
    const int before = dup(STDERR_FILENO);
    dup2(fileno(file), STDERR_FILENO);
    code();
    dup2(before, STDERR_FILENO);
    close(before);
    rewind(file);
    char text[4096];
    text[fread(text, 1, sizeof text - 1, file)] = '\0';
    fclose(file);
    NSMutableArray *lines = [NSMutableArray array];
    for (NSString *line in [@(text) componentsSeparatedByString:@"\n"]) {
        const char *words = [line UTF8String];
        if (strncmp(words, "ZentaraClient: identity: ", 25) != 0 &&
            strncmp(words, "ZentaraClient: schemas: ", 24) != 0 &&
            strncmp(words, "ZentaraClient: delivery: ", 25) != 0)
            [lines addObject:line];
    }
    return [lines componentsJoinedByString:@"\n"];
}

static void *run(void *code) {
    @autoreleasepool {
        ((void (^)(void))code)();
    }
    return NULL;
}

void inThreads(int count, size_t stackSize, void (^code)(void)) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackSize != 0) pthread_attr_setstacksize(&attributes, stackSize);
    pthread_t threads[count];
    for (int index = 0; index < count; ++index)
        pthread_create(&threads[index], &attributes, run, code);
    for (int index = 0; index < count; ++index)
        pthread_join(threads[index], NULL);
    pthread_attr_destroy(&attributes);
}

bool isFatal(NSString *cause, void (^code)(void)) {
    __block int status = 0;
    NSString *words = standardErrorOf(^{
        const pid_t child = fork();
        if (child == 0) {
            code();
            _exit(0);
        }
        waitpid(child, &status, 0);
    });
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT &&
           [words rangeOfString:cause].length > 0;
}

@implementation Tracked

+ (int)count {
    return __atomic_load_n(&trackedCount, __ATOMIC_ACQUIRE);
}

- (instancetype)init {
    self = [super init];
    __atomic_add_fetch(&trackedCount, 1, __ATOMIC_ACQ_REL);
    return self;
}

- (void)dealloc {
    __atomic_sub_fetch(&trackedCount, 1, __ATOMIC_ACQ_REL);
    [super dealloc];
}

@end

// The Objective-C runtime and GNUstep are not compiled for the sanitizers. Suppressed are the
// tables of classes and selectors, which alone come from these functions, and locks that GNUstep
// takes in either order. Suppressions need whole stacks, which cannot be walked the fast way. What
// this library does and allocates is checked.
const char *__lsan_default_suppressions(void) {
    return "leak:objc_malloc\nleak:class_copyMethodList\n";
}
const char *__asan_default_options(void) {
    return "fast_unwind_on_malloc=0";
}
const char *__tsan_default_suppressions(void) {
    return "deadlock:libgnustep-base.so\n";
}

// Absent without the leak sanitizer.
__attribute__((weak)) void __lsan_disable(void);
__attribute__((weak)) void __lsan_enable(void);

/// Lets GNUstep create what it never releases. Later allocations are checked for leaks.
static void initializeFoundation(void) {
    if (__lsan_disable != NULL) __lsan_disable();
    @autoreleasepool {
        [[NSArray array] description];
        [[NSDictionary dictionary] description];
        [[NSDecimalNumber decimalNumberWithString:@"1"] description];
    }
    if (__lsan_enable != NULL) __lsan_enable();
}

/// Runs the test with the given name.
int main(int argc, char **argv) {
    report = fdopen(dup(STDERR_FILENO), "w");
    setbuf(report, NULL);
    void (*test)(void) = NULL;
    if (argc == 2) *(void **)&test = dlsym(RTLD_DEFAULT, argv[1]);
    if (test == NULL) return 64;
    initializeFoundation();
    @autoreleasepool {
        test();
    }
    return failures == 0 ? 0 : 1;
}
