// SPDX-License-Identifier: MIT

#pragma once

#include "host/TavroCore.h"

namespace Tavro {

// Constructed in this order when the bundle is loaded. Single and multiple outputs are other kinds
// of components: queryInterface() returns kUnknown for these two.
extern const NarrowString kComponentInterfaceId;
extern const NarrowString kSingleOutputComponentId;
extern const NarrowString kMultipleOutputComponentId;
extern const NarrowString kOutputComponentId;
extern const NarrowString kOutputInterfaceId;

}  // namespace Tavro
