#pragma once

#import <zentara/QVNZentaraClient.h>

// What differs between Objective-C runtimes, implemented in `gnustep/` and in `modern/`.

/// A copy of the block, which may be nil, on the heap, to be released with `zentaraReleaseBlock`.
/// Does not depend on the Blocks runtime that the application was linked with.
id zentaraCopyBlock(id block);
void zentaraReleaseBlock(id block);

// A table of the objects that exist, by the identity of their clients, so that a client never has
// two objects. It does not retain them.

/// The object of the client, retained. Without one, `make` makes it, retained.
QVNZentaraClient *zentaraClientObject(const void *identity, QVNZentaraClient * (^make)(void));

/// Adds the object of a new client.
void zentaraAddClientObject(const void *identity, QVNZentaraClient *object);
