#include "BundleTest.h"

#include <algorithm>
#include <cstring>

#include "fakes/AllocationWatch.h"

using Tavro::_Variant;

namespace {
constexpr std::size_t kGuardBytes = 64;
constexpr std::uint8_t kGuard = 0xA5;
constexpr std::uint8_t kUntouched = 0xEE;
}  // namespace

std::vector<std::uint8_t> Rendered::piece(std::size_t from, std::size_t to) const {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
          bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

std::vector<std::uint8_t> pattern(std::size_t count, unsigned start) {
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<std::uint8_t>(1 + (i * 7 + start * 31 + i / 251) % 200);
  }
  return bytes;
}

BundleTest::BundleTest() {
  platform.reset();
  AllocationWatch::forgetBlocks();
  AllocationWatch::refuse(0);
  journal.record(true);
  journal.take();
  journal.takeViolations();
  gate.park();
  wall.ms = 1000;
}

BundleTest::~BundleTest() { gate.open(); }

void BundleTest::TearDown() {
  session.onReport = nullptr;
  session.clock.onRead = nullptr;
  upstream.onQuery = nullptr;
  component.reset();
  checkNothingIsLeft();
}

void BundleTest::checkNothingIsLeft() {
  EXPECT_THAT(journal.takeViolations(), testing::IsEmpty());
  EXPECT_EQ(platform.liveGraphs(), 0U) << "a graph outlived the component";
  EXPECT_EQ(platform.liveIOProcs(), 0U) << "an I/O procedure outlived the component";
  EXPECT_EQ(AllocationWatch::heldBlocks(), 0U) << "a property block was not freed";
  EXPECT_EQ(AllocationWatch::doubleFrees(), 0U) << "a property block was freed twice";
  for (const FakeBuffer* buffer : upstream.buffers()) {
    EXPECT_EQ(buffer->releases(), buffer->delivered() ? 1U : 0U)
        << "releases of the buffer stamped " << buffer->timeStamp;
    EXPECT_FALSE(buffer->bytesLocked()) << "buffer stamped " << buffer->timeStamp;
  }
}

void BundleTest::make() {
  component.reset();
  gate.park();
  component.emplace();
  gate.awaitSleeper();
}

void BundleTest::connect(std::uint32_t formatCode) {
  make();
  ASSERT_TRUE((*component)->create(&session));
  format = {formatCode, 0, 0, 2, 0};
  port = component->output().connectInput(Tavro::MediaType::Audio, &format, &source);
  ASSERT_NE(port, nullptr);
  ASSERT_TRUE(connectPeer(&upstream));
}

bool BundleTest::write(std::uint32_t rate, std::uint32_t channels, std::uint32_t bits,
                       std::uint32_t id) {
  Tavro::AudioProperties properties;
  properties.m_sampleRate = rate;
  properties.m_channels = channels;
  properties.m_bitsPerSample = bits;
  _Variant value{Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(&properties)};
  return port->writeQuery(id, &value);
}

bool BundleTest::event(std::uint32_t id) {
  _Variant none{};
  return port->sendEvent(id, &none);
}

bool BundleTest::connectPeer(Tavro::PortInterface* peer) {
  _Variant value{Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(peer)};
  return port->sendEvent(Tavro::PortEvent::kConnect, &value);
}

bool BundleTest::ready() {
  _Variant none{};
  return port->checkEvent(Tavro::PortCheck::kReady, &none);
}

void BundleTest::settingChange(const std::string& group, const std::string& name, _Variant value,
                               Tavro::MediaType mediaType) {
  ASSERT_EQ(session.consumers.size(), 1U);
  const Tavro::Setting setting(mediaType, narrow(group), narrow(name));
  (*session.consumers.begin())->settingChanged(setting, &value);
}

std::string BundleTest::info(const char* key) {
  _Variant entry{};
  if (!(*component)->getInfo(key, &entry)) {
    return "(none)";
  }
  if (entry.type == Tavro::VariantType::kNarrowText) {
    return reinterpret_cast<const Tavro::NarrowString*>(entry.value)->m_data;
  }
  const auto* text = reinterpret_cast<const Tavro::WideString*>(entry.value);
  std::string plain;
  for (const wchar_t* c = text->m_data; *c != 0; ++c) {
    plain += static_cast<char>(*c);
  }
  return plain;
}

void BundleTest::build(std::uint32_t formatCode, std::uint32_t rate, std::uint32_t channels,
                       std::uint32_t bits) {
  ASSERT_NO_FATAL_FAILURE(connect(formatCode));
  ASSERT_TRUE(write(rate, channels, bits));
  journal.take();
}

void BundleTest::end() {
  (*component)->destroy();
  component.reset();
  checkNothingIsLeft();
  upstream.forget();
}

void BundleTest::feed() {
  ready();
  gate.step();
}

Rendered BundleTest::render(UInt32 frames, std::optional<UInt32> capacity) {
  const FakeGraph* graph = platform.liveGraph();
  const UInt32 bytes = capacity.value_or(frames * graph->unit.streamFormat.mBytesPerFrame);
  std::vector<std::uint8_t> memory(bytes + 2 * kGuardBytes, kGuard);
  const auto begin = memory.begin() + kGuardBytes;
  std::fill(begin, begin + bytes, kUntouched);
  AudioBufferList list{1, {{99, bytes, memory.data() + kGuardBytes}}};
  Rendered result{};
  const AudioTimeStamp time{};
  const AURenderCallbackStruct& callback = graph->unit.callback;
  result.status =
      callback.inputProc(callback.inputProcRefCon, &result.flags, &time, 0, frames, &list);
  result.byteSize = list.mBuffers[0].mDataByteSize;
  result.channels = list.mBuffers[0].mNumberChannels;
  result.bytes.assign(begin, begin + bytes);
  const auto isGuard = [](std::uint8_t byte) { return byte == kGuard; };
  result.guardsIntact = std::all_of(memory.begin(), begin, isGuard) &&
                        std::all_of(begin + bytes, memory.end(), isGuard);
  return result;
}

unsigned BundleTest::released() {
  unsigned count = 0;
  for (const FakeBuffer* buffer : upstream.buffers()) {
    count += buffer->releases();
  }
  return count;
}

Tavro::TimeBaseInterface& BundleTest::timeBase() { return **session.clock.timeBases.begin(); }
