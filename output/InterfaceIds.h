#pragma once

#include "host/TavroCore.h"

namespace Tavro {

// Built when the bundle is loaded, in this order. An output of the single or multiple kind is
// somebody else's: these two are known, not answered.
extern const NarrowString kComponentInterfaceId;
extern const NarrowString kSingleOutputComponentId;
extern const NarrowString kMultipleOutputComponentId;
extern const NarrowString kOutputComponentId;
extern const NarrowString kOutputInterfaceId;

}  // namespace Tavro
