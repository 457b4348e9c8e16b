#pragma once

#import <Foundation/Foundation.h>

// A small harness: every test is a process of its own, because what it tests belongs to processes.

/// TEST(NameOfWhatHolds) { ... }
#define TEST(name)                                                   \
    static void name(void);                                          \
    __attribute__((constructor)) static void register_##name(void) { \
        registerTest(#name, name);                                   \
    }                                                                \
    static void name(void)

/// Reports what does not hold, and goes on.
#define CHECK(...) checkThat((__VA_ARGS__) ? true : false, #__VA_ARGS__, __FILE__, __LINE__)

/// The same for objects, with both in the report.
#define CHECK_EQUAL(found, expected) checkEqual(found, expected, #found, __FILE__, __LINE__)

/// Lets GNUstep make what it keeps for ever; what is made later is looked at for leaks.
void initializeFoundation(void);

void registerTest(const char *name, void (*test)(void));
void checkThat(bool holds, const char *condition, const char *file, int line);
void checkEqual(id found, id expected, const char *what, const char *file, int line);

/// What is written to standard error meanwhile.
NSString *standardErrorOf(void (^code)(void));

/// The same of code that aborts the process, which is a copy of this one. Nil when it does not.
NSString *lastWordsOf(void (^code)(void));

/// Counts the objects of its class that exist, so that tests see what is kept and what is not.
@interface Tracked : NSObject
+ (int)count;
@end

/// What other threads have done, and a way to wait for it.
@interface Latch : NSObject {
    NSCondition *_condition;
    int _count;
}
- (void)signal;
/// Whether so many signals came in all before the time was up.
- (bool)waitForCount:(int)count;
- (int)count;
@end
