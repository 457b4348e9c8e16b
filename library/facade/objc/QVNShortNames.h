#pragma once

#import <zentara/QVNEvent.h>
#import <zentara/QVNEventError.h>

// The classes by the names that they have in C++. The runtime does not know these names, so that an
// application can have classes of its own by them. A source that uses such a class together with
// the library defines ZENTARA_NO_SHORT_NAMES before it includes a header of the library.
#if !defined(ZENTARA_NO_SHORT_NAMES)
@compatibility_alias Event QVNEvent;
@compatibility_alias ZentaraClientError QVNZentaraClientError;
@compatibility_alias ZentaraClientNotInitializedError QVNZentaraClientNotInitializedError;
@compatibility_alias ZentaraClientNotReady QVNZentaraClientNotReady;
@compatibility_alias InvalidDataForSpecifiedSchemaError QVNInvalidDataForSpecifiedSchemaError;
@compatibility_alias UnknownError QVNUnknownError;
@compatibility_alias EventNotQueuedError QVNEventNotQueuedError;
@compatibility_alias SchemasInitializationError QVNSchemasInitializationError;
#endif
