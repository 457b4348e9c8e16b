#pragma once

#import <zentara/QVNEvent.h>
#import <zentara/QVNEventError.h>

// The C++ names of the classes. The runtime does not know these names, so an application can have
// classes with them. Compile a source that declares such a class and includes the library with
// -DZENTARA_NO_SHORT_NAMES.
#if !defined(ZENTARA_NO_SHORT_NAMES)
@compatibility_alias Event QVNEvent;
@compatibility_alias ZentaraClientError QVNZentaraClientError;
@compatibility_alias ZentaraClientNotInitializedError QVNZentaraClientNotInitializedError;
@compatibility_alias ZentaraClientNotReady QVNZentaraClientNotReady;
@compatibility_alias InvalidDataForSpecifiedSchemaError QVNInvalidDataForSpecifiedSchemaError;
@compatibility_alias UnknownError QVNUnknownError;
@compatibility_alias EventNotQueuedError QVNEventNotQueuedError;
@compatibility_alias ConsentDeniedError QVNConsentDeniedError;
@compatibility_alias EventDroppedError QVNEventDroppedError;
@compatibility_alias BeforeQueueError QVNBeforeQueueError;
@compatibility_alias ClientShutDownError QVNClientShutDownError;
@compatibility_alias SchemasInitializationError QVNSchemasInitializationError;
#endif
