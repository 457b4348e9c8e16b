#pragma once

#import <Foundation/Foundation.h>

// A small harness: every test is a process of its own, because what it tests belongs to processes.

/// TEST(NameOfWhatHolds) { ... }
#define TEST(name)                                          \
    __attribute__((visibility("default"))) void name(void); \
    void name(void)

/// Reports what does not hold, and goes on.
#define CHECK(...) checkThat((__VA_ARGS__) ? true : false, #__VA_ARGS__, __FILE__, __LINE__)

/// The same for objects, with both in the report.
#define CHECK_EQUAL(found, expected) checkEqual(found, expected, __FILE__, __LINE__)

void checkThat(bool holds, const char *condition, const char *file, int line);
void checkEqual(id found, id expected, const char *file, int line);

/// What is written to standard error meanwhile, less what workers say of services that they do not
/// reach.
NSString *standardErrorOf(void (^code)(void));

/// Runs the code in so many threads at once, with stacks of this size; 0 for the usual one.
void inThreads(int count, size_t stackSize, void (^code)(void));

/// Whether the code, run by a copy of this process, aborts that and names this cause.
bool isFatal(NSString *cause, void (^code)(void));

/// Counts the objects of its class that exist, so that tests see what is kept and what is not.
@interface Tracked : NSObject
+ (int)count;
@end
