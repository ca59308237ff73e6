// SPDX-License-Identifier: MIT

#include "output/InterfaceIds.h"

namespace Tavro {

const NarrowString kComponentInterfaceId("com.norvane.flowloom.interface.component",
                                         sharedAllocator<char>());
const NarrowString kSingleOutputComponentId("com.norvane.flowloom.component.output.single",
                                            sharedAllocator<char>());
const NarrowString kMultipleOutputComponentId("com.norvane.flowloom.component.output.multiple",
                                              sharedAllocator<char>());
const NarrowString kOutputComponentId("com.norvane.flowloom.component.output",
                                      sharedAllocator<char>());
const NarrowString kOutputInterfaceId("com.norvane.flowloom.interface.output",
                                      sharedAllocator<char>());

}  // namespace Tavro
