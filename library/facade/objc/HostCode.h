#pragma once

#import <Foundation/Foundation.h>

/// Runs code of the application's with an autorelease pool, and ends there what exceptions it
/// raises: a line on standard error names `where`.
void zentaraCallHost(const char *where, void (^code)(void));

/// What is known of something that was raised.
NSString *zentaraDescriptionOfException(id exception);

/// Writes the text as one line to standard error.
void zentaraWarnWith(NSString *text);
