#pragma once

#import <zentara/QVNZentaraClient.h>

// The objects that exist, by the identity of their clients, so that one client is never two
// objects. They are not retained here.

/// The object of the client, retained. Without one, `make` makes it, retained.
QVNZentaraClient *zentaraClientObject(const void *identity, QVNZentaraClient * (^make)(void));

/// Adds the object of a new client.
void zentaraAddClientObject(const void *identity, QVNZentaraClient *object);
