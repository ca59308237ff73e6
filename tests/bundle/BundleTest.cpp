// SPDX-License-Identifier: MIT

#include "BundleTest.h"

#include <algorithm>
#include <thread>

#include "fakes/AllocationWatch.h"

namespace {
constexpr std::size_t kGuardBytes = 64;
constexpr std::uint8_t kGuard = 0xA5;
constexpr std::uint8_t kUntouched = 0xEE;
}  // namespace

Tavro::Bundle& bundle() {
  static Tavro::Bundle loaded(BUNDLE_PATH);
  return loaded;
}

Tavro::NarrowString narrow(const std::string& text) {
  return {text.c_str(), Tavro::sharedAllocator<char>()};
}

Bytes pattern(std::size_t count, unsigned start) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<std::uint8_t>(1 + (i * 7 + start * 31 + i / 251) % 200);
  }
  return bytes;
}

Bytes slice(const Bytes& bytes, std::size_t from, std::size_t to) {
  return {bytes.data() + from, bytes.data() + to};
}

BundleTest::BundleTest() {
  platform.reset();
  journal.record(true);
  journal.take();
  journal.takeViolations();
  gate.park();
  wall.ms = 1000;
}

BundleTest::~BundleTest() { gate.open(); }

void BundleTest::TearDown() { deleteAndLook(); }

void BundleTest::end() {
  component->component().destroy();
  deleteAndLook();
  upstream.forget();
}

void BundleTest::deleteAndLook() {
  session.onReport = nullptr;
  session.clock.onRead = nullptr;
  upstream.onQuery = nullptr;
  dropComponent();
  EXPECT_THAT(journal.takeViolations(), testing::IsEmpty());
  EXPECT_EQ(platform.liveGraph(), nullptr) << "a graph outlived the component";
  EXPECT_EQ(platform.ioProc(), nullptr) << "an I/O procedure outlived the component";
  for (const FakeBuffer* buffer : upstream.buffers()) {
    EXPECT_EQ(buffer->releases(), buffer->delivered() ? 1U : 0U)
        << "releases of the buffer stamped " << buffer->timeStamp;
    EXPECT_FALSE(buffer->bytesLocked()) << "buffer stamped " << buffer->timeStamp;
  }
}

void BundleTest::dropComponent() {
  gate.open();
  component.reset();
}

void BundleTest::make() {
  dropComponent();
  gate.park();
  component = bundle().makeComponent();
  gate.awaitSleeper();
}

void BundleTest::connect(std::uint32_t formatCode) {
  make();
  ASSERT_TRUE(component->component().create(&session));
  format.formatCode = formatCode;
  port = connectInput();
  ASSERT_NE(port, nullptr);
  ASSERT_TRUE(connectPeer(&upstream));
}

Tavro::PortInterface* BundleTest::connectInput() {
  return component->output().connectInput(Tavro::MediaType::Audio, &format, &source);
}

bool BundleTest::connectPeer(Tavro::PortInterface* peer) {
  Tavro::_Variant value = objectValue(peer);
  return port->sendEvent(Tavro::PortEvent::kConnect, &value);
}

bool BundleTest::write(std::uint32_t rate, std::uint32_t channels, std::uint32_t bits,
                       std::uint32_t id) {
  Tavro::AudioProperties properties;
  properties.m_sampleRate = rate;
  properties.m_channels = channels;
  properties.m_bitsPerSample = bits;
  Tavro::_Variant value = objectValue(&properties);
  return port->writeQuery(id, &value);
}

void BundleTest::announceVolume(Tavro::_Variant value) {
  const Tavro::Setting volume(Tavro::MediaType::Audio, narrow("Output"), narrow("Volume"));
  (*session.consumers.begin())->settingChanged(volume, &value);
}

void BundleTest::flush(bool fromAnotherThread) {
  if (fromAnotherThread) {
    std::thread([this] { event(Tavro::PortEvent::kFlushAgain); }).join();
  } else {
    event(Tavro::PortEvent::kFlush);
  }
}

std::string BundleTest::info(const char* key) {
  Tavro::_Variant entry{};
  if (!component->component().getInfo(key, &entry)) {
    return "(none)";
  }
  if (entry.type == Tavro::VariantType::kNarrowText) {
    return reinterpret_cast<const Tavro::NarrowString*>(entry.value)->m_data;
  }
  const std::wstring text = reinterpret_cast<const Tavro::WideString*>(entry.value)->m_data;
  return {text.begin(), text.end()};
}

void BundleTest::build(std::uint32_t formatCode, std::uint32_t rate, std::uint32_t channels,
                       std::uint32_t bits) {
  ASSERT_NO_FATAL_FAILURE(connect(formatCode));
  ASSERT_TRUE(write(rate, channels, bits));
  journal.take();
}

FakeBuffer& BundleTest::add(std::size_t bytes, std::uint32_t timeStampMs,
                            std::uint32_t durationMs) {
  const auto number = static_cast<unsigned>(upstream.buffers().size());
  return upstream.add(pattern(bytes, number), timeStampMs, durationMs);
}

void BundleTest::feed() {
  ready();
  gate.step();
}

FakeBuffer& BundleTest::queue(std::size_t bytes, std::uint32_t timeStampMs,
                              std::uint32_t durationMs) {
  FakeBuffer& buffer = add(bytes, timeStampMs, durationMs);
  feed();
  return buffer;
}

Rendered BundleTest::render(UInt32 frames, std::optional<UInt32> capacity) {
  const FakeGraph* graph = platform.liveGraph();
  const UInt32 bytes = capacity.value_or(frames * graph->unit.streamFormat.mBytesPerFrame);
  Bytes memory(bytes + 2 * kGuardBytes, kGuard);
  const auto begin = memory.begin() + kGuardBytes;
  std::fill(begin, begin + bytes, kUntouched);
  AudioBufferList list{1, {{99, bytes, memory.data() + kGuardBytes}}};
  Rendered result{};
  const AudioTimeStamp time{};
  const AURenderCallbackStruct& callback = graph->unit.callback;
  const std::uint64_t before = AllocationWatch::countOfThisThread();
  result.status =
      callback.inputProc(callback.inputProcRefCon, &result.flags, &time, 0, frames, &list);
  result.allocations = AllocationWatch::countOfThisThread() - before;
  result.byteSize = list.mBuffers[0].mDataByteSize;
  result.channels = list.mBuffers[0].mNumberChannels;
  result.bytes.assign(begin, begin + bytes);
  const Bytes guard(kGuardBytes, kGuard);
  result.guardsIntact = std::equal(guard.begin(), guard.end(), memory.begin()) &&
                        std::equal(guard.begin(), guard.end(), begin + bytes);
  return result;
}

unsigned BundleTest::released() {
  unsigned count = 0;
  for (const FakeBuffer* buffer : upstream.buffers()) {
    count += buffer->releases();
  }
  return count;
}
