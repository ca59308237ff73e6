// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// Names of interfaces, for Plugin::queryInterface.
namespace InterfaceId {
inline constexpr const char* kComponent = "com.norvane.flowloom.interface.component";
inline constexpr const char* kOutput = "com.norvane.flowloom.interface.output";
}  // namespace InterfaceId

/// Names of kinds of components.
namespace ComponentId {
inline constexpr const char* kOutput = "com.norvane.flowloom.component.output";
inline constexpr const char* kSingleOutput = "com.norvane.flowloom.component.output.single";
inline constexpr const char* kMultipleOutput = "com.norvane.flowloom.component.output.multiple";
}  // namespace ComponentId

/// Identifiers of events, checks and queries. The top four bits name the operation.

namespace ComponentEvent {  // ComponentInterface::sendEvent, no value
inline constexpr std::uint32_t kFirst = 0x10010000;
inline constexpr std::uint32_t kSecond = 0x10020000;
}  // namespace ComponentEvent

namespace PortQuery {
/// writeQuery of an output's input port; the value is kObject, an AudioProperties*.
inline constexpr std::uint32_t kConfigurePcm = 0x200b000e;
inline constexpr std::uint32_t kConfigurePassthrough = 0x200e000e;
/// readQuery of an upstream port; the value is a MediaBuffer* with one reference, or null if none
/// is available now.
inline constexpr std::uint32_t kNextBuffer = 0x200c000a;
/// readQuery of an output's input port; the value is kUInt32.
inline constexpr std::uint32_t kMaximumChannels = 0x20130006;
}  // namespace PortQuery

namespace PortEvent {                                     // sendEvent of an output's input port
inline constexpr std::uint32_t kConnect = 0x3000000e;     // upstream PortInterface*, any type
inline constexpr std::uint32_t kDisconnect = 0x30010000;  // no value, as for the rest
inline constexpr std::uint32_t kStop = 0x30020000;
inline constexpr std::uint32_t kStart = 0x30030000;
inline constexpr std::uint32_t kFlush = 0x30040000;
inline constexpr std::uint32_t kFlushAgain = 0x30050000;  // same effect as kFlush
}  // namespace PortEvent

namespace PortCheck {  // checkEvent of an output's input port, no value
inline constexpr std::uint32_t kReady = 0x40000002;
}  // namespace PortCheck

/// What happened to a buffer, for GraphSessionInterface::reportBuffer.
namespace BufferState {
inline constexpr std::uint32_t kPlaying = 2;      // a piece of it is about to be played
inline constexpr std::uint32_t kPlayed = 3;       // played to its end
inline constexpr std::uint32_t kDroppedLate = 4;  // entirely late, not played
}  // namespace BufferState

}  // namespace Tavro
