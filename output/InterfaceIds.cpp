// SPDX-License-Identifier: MIT

#include "output/InterfaceIds.h"

namespace Tavro {

const NarrowString kComponentInterfaceId(InterfaceId::kComponent, sharedAllocator<char>());
const NarrowString kSingleOutputComponentId(ComponentId::kSingleOutput, sharedAllocator<char>());
const NarrowString kMultipleOutputComponentId(ComponentId::kMultipleOutput,
                                              sharedAllocator<char>());
const NarrowString kOutputComponentId(ComponentId::kOutput, sharedAllocator<char>());
const NarrowString kOutputInterfaceId(InterfaceId::kOutput, sharedAllocator<char>());

}  // namespace Tavro
