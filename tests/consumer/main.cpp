// SPDX-License-Identifier: MIT

#include <AudioDevices/AudioDevices.h>

#include "tavro_core/Bundle.h"

int main(int, char** argv) {
  AudioDevices::list();
  return Tavro::Bundle(argv[1]).makeComponent() == nullptr;
}
