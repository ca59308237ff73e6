// SPDX-License-Identifier: MIT

#pragma once

#include <cstdlib>
#include <memory>

namespace Tavro {

struct FreeBlock {
  void operator()(void* block) const { std::free(block); }
};

/// Memory of malloc() or calloc(), which return null where operator new throws.
template <class T>
using Block = std::unique_ptr<T, FreeBlock>;

}  // namespace Tavro
