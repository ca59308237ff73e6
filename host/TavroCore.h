// SPDX-License-Identifier: MIT

#pragma once

/// The contract between the media-graph host and its plug-ins: everything that crosses the boundary
/// in either direction. It holds declarations, and templates that each side instantiates for
/// itself; functions that are neither inline nor pure are implemented by the host library.
///
/// Threads in the comments: [host-thread] is any thread on which the host drives a component, one
/// call at a time; [any-thread] includes the audio service's real-time threads.

#include "AudioProperties.h"
#include "ComponentInterface.h"
#include "FormatDescriptor.h"
#include "GraphSession.h"
#include "Identifiers.h"
#include "List.h"
#include "MediaBuffer.h"
#include "MediaTypes.h"
#include "OutputComponent.h"
#include "Plugin.h"
#include "PortInterface.h"
#include "Services.h"
#include "Setting.h"
#include "SettingConsumer.h"
#include "StandardAllocator.h"
#include "TimeBaseInterface.h"
#include "Variant.h"
#include "norvane_string.h"
