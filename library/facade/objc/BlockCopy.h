#pragma once

#import <Foundation/Foundation.h>

/// A block that outlives the call that passed it, to be released with `zentaraReleaseBlock`; nil
/// for nil. Independent of which Blocks runtime the application's own calls have reached.
id zentaraCopyBlock(id block);
void zentaraReleaseBlock(id block);
