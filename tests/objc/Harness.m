#import "Harness.h"

#include <stdio.h>
#include <string.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

enum { maximumTests = 100, generousTimeout = 60 };

static struct {
    const char *name;
    void (*run)(void);
} tests[maximumTests];
static int testCount;
static int failures;
static FILE *report;  // where standard error was at the start

void registerTest(const char *name, void (*test)(void)) {
    if (testCount == maximumTests) abort();
    tests[testCount].name = name;
    tests[testCount].run = test;
    ++testCount;
}

void checkThat(bool holds, const char *condition, const char *file, int line) {
    if (holds) return;
    __atomic_add_fetch(&failures, 1, __ATOMIC_RELAXED);
    fprintf(report, "%s:%d: does not hold: %s\n", file, line, condition);
}

void checkEqual(id found, id expected, const char *what, const char *file, int line) {
    if (found == expected || [found isEqual:expected]) return;
    __atomic_add_fetch(&failures, 1, __ATOMIC_RELAXED);
    fprintf(report, "%s:%d: %s is %s, not %s\n", file, line, what, [[found description] UTF8String],
            [[expected description] UTF8String]);
}

NSString *standardErrorOf(void (^code)(void)) {
    FILE *file = tmpfile();
    const int before = dup(STDERR_FILENO);
    fflush(stderr);
    dup2(fileno(file), STDERR_FILENO);
    code();
    fflush(stderr);
    dup2(before, STDERR_FILENO);
    close(before);
    rewind(file);
    char text[4096];
    text[fread(text, 1, sizeof text - 1, file)] = '\0';
    fclose(file);
    return [NSString stringWithUTF8String:text];
}

NSString *lastWordsOf(void (^code)(void)) {
    __block int status = 0;
    NSString *words = standardErrorOf(^{
        const pid_t child = fork();
        if (child == 0) {
            code();
            _exit(0);
        }
        waitpid(child, &status, 0);
    });
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT ? words : nil;
}

static int trackedCount;

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

@implementation Latch

- (instancetype)init {
    self = [super init];
    _condition = [[NSCondition alloc] init];
    return self;
}

- (void)dealloc {
    [_condition release];
    [super dealloc];
}

- (void)signal {
    [_condition lock];
    ++_count;
    [_condition broadcast];
    [_condition unlock];
}

- (bool)waitForCount:(int)count {
    NSDate *end = [NSDate dateWithTimeIntervalSinceNow:generousTimeout];
    [_condition lock];
    bool isInTime = true;
    while (_count < count && isInTime)
        isInTime = [_condition waitUntilDate:end];
    isInTime = _count >= count;
    [_condition unlock];
    return isInTime;
}

- (int)count {
    [_condition lock];
    const int count = _count;
    [_condition unlock];
    return count;
}

@end

/// Runs the test that is named.
int main(int argc, char **argv) {
    if (argc != 2) return 64;
    report = fdopen(dup(STDERR_FILENO), "w");
    setbuf(report, NULL);
    for (int index = 0; index < testCount; ++index) {
        if (strcmp(tests[index].name, argv[1]) != 0) continue;
        initializeFoundation();
        @autoreleasepool {
            tests[index].run();
        }
        return failures == 0 ? 0 : 1;
    }
    fprintf(stderr, "there is no test %s\n", argv[1]);
    return 64;
}
