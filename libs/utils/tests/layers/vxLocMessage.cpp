// A source that breaks the layers on purpose: messages reaching exceptions. The layer check must
// name this include (see the test layers.anIncludeFromAboveIsNamed); it is never compiled.
#include "vxLocMessage.h"

#include "vxException.h"
