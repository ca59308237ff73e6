// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "check/bench/LayoutRecord.h"
#include "check/promises/Promise.h"

namespace Check {
namespace {

using Tavro::_Variant;
using Labels = std::vector<AudioChannelLabel>;
namespace Script = AudioDevices::Script;

void registersWithItsSession(Bench& bench) {
  bench.make();
  Tavro::ComponentInterface& component = bench.component->component();
  Journal& journal = Journal::instance();
  bench.expectEqual("create() without a session", component.create(nullptr), false);
  journal.take();
  bench.step("create");
  bench.expectEqual("create()", component.create(&bench.session), true);
  bench.expectEqual(
      "what create() does", journal.take(),
      Lines{"log Rendering: Audio Output Creation", "session.getClock", "clock.addTimeBase",
            "session.registerSettingConsumer", "session.getSetting 2 Channels Maximum"});
  bench.step("destroy");
  bench.expectEqual("destroy()", component.destroy(), true);
  Lines done = journal.take();
  std::ranges::sort(done);
  bench.expectEqual("what destroy() does, sorted", done,
                    Lines{"clock.removeTimeBase", "log Rendering: Audio Output Destruction",
                          "session.getClock", "session.unregisterSettingConsumer"});
  bench.expectEqual("create() again", component.create(&bench.session), true);
  bench.expectNoMisuse();
}

void describesItself(Bench& bench) {
  bench.make();
  Tavro::ComponentInterface& component = bench.component->component();
  std::vector<const char*> keys{"a key of another component"};
  bench.expectEqual("getInfoKeys()", component.getInfoKeys(&keys), true);
  bench.expectEqual("the keys, appended", Lines(keys.begin(), keys.end()),
                    Lines{"a key of another component", "BitsPerSample", "Name", "Type"});
  bench.expect(bench.information("Name") != "(none)" && !bench.information("Name").empty(),
               "a name", "there is none");
  const std::string type = bench.information("Type");
  bench.expect(type.starts_with("Audio|Renderer|"), "a type that begins with Audio|Renderer|",
               inWords(type));
  bench.expectEqual("bits per sample before a stream", bench.information("BitsPerSample"),
                    std::string("0"));
  _Variant entry{};
  for (const auto& [key, code] : {std::pair{"Type", Tavro::VariantType::kNarrowText},
                                  {"Name", Tavro::VariantType::kWideText},
                                  {"BitsPerSample", Tavro::VariantType::kWideText}}) {
    bench.expectEqual(std::string("getInfo() of ") + key, component.getInfo(key, &entry), true);
    bench.expectEqual(std::string("type code of ") + key, entry.type, code);
  }
  for (const char* key : {"name", "", "Name ", "Bits"}) {
    entry = {9, 8};
    bench.expect(!component.getInfo(key, &entry) && entry.type == 9 && entry.value == 8,
                 fmt::format("false for '{}', and the value unchanged", key), "it answered");
  }
}

void answersComponentEvents(Bench& bench) {
  bench.connect();
  Tavro::ComponentInterface& component = bench.component->component();
  for (const auto& [id, accepted] : {std::pair{Tavro::ComponentEvent::kFirst, true},
                                     {Tavro::ComponentEvent::kSecond, true},
                                     {Tavro::PortEvent::kStart, false},
                                     {0x10030000U, false}}) {
    bench.expectEqual(fmt::format("sendEvent({:#x})", id), component.sendEvent(id, nullptr),
                      accepted);
  }
  _Variant value{Tavro::VariantType::kUInt32, 50};
  bench.expectEqual("checkEvent()", component.checkEvent(Tavro::PortCheck::kReady, &value), false);
  bench.expectEqual("readQuery()", component.readQuery(Tavro::PortQuery::kMaximumChannels, &value),
                    false);
  bench.expect(value.type == Tavro::VariantType::kUInt32 && value.value == 50,
               "values that are refused stay unchanged", "they changed");
}

void connectsOneStream(Bench& bench) {
  bench.make();
  Tavro::OutputInterface& output = bench.component->output();
  const auto refuses = [&](const char* what, Tavro::MediaType type, std::uint32_t model) {
    const Tavro::FormatDescriptor format{1, 2, 2, model, 2};
    bench.expect(output.connectInput(type, &format, &bench.source) == nullptr,
                 std::string("null for ") + what, "a port");
  };
  refuses("another data model", Tavro::MediaType::Audio, 1);
  refuses("another media type", static_cast<Tavro::MediaType>(1), 2);
  bench.expectEqual("disconnectInput(null) while nothing is connected",
                    output.disconnectInput(nullptr), true);
  Tavro::PortInterface* port = bench.connectInput();
  bench.require(port != nullptr, "a port for an audio stream", "null");
  bench.expectEqual("disconnectInput(null)", output.disconnectInput(nullptr), false);
  bench.expectEqual("disconnectInput() of another port", output.disconnectInput(&bench.upstream),
                    false);
  bench.expectEqual("disconnectInput()", output.disconnectInput(port), true);
  bench.expectEqual("disconnectInput() once more", output.disconnectInput(port), false);
}

/// What a connection brings shows in the frames of the output and in the reports.
void keepsTheConnectedStream(Bench& bench) {
  bench.connect(Tavro::FormatCode::kFloat);
  NumberedSource another(1234);
  const Tavro::FormatDescriptor integer{Tavro::FormatCode::kInteger, 0, 0, 2, 0};
  const auto connectAnother = [&] {
    return bench.component->output().connectInput(Tavro::MediaType::Audio, &integer, &another);
  };
  const auto expectStream = [&](std::uint32_t rate, std::uint32_t stream, UInt32 frameBytes) {
    bench.require(bench.write(rate, 2, 16), "the property write returns true", "false");
    bench.require(bench.platform.output().has_value(), "there is an output", "none");
    bench.expectEqual("bytes per frame", bench.platform.output()->format.mBytesPerFrame,
                      frameBytes);
    bench.queue(8, 100, 10);  // late, so it is reported
    const auto reports = bench.session.takeReports();
    bench.require(!reports.empty(), "a late buffer is reported", "it is not");
    bench.expectEqual("stream of the report", reports[0].streamId, stream);
  };
  bench.setGraphTime(5000);
  bench.step("connect a second stream");
  bench.expect(connectAnother() == nullptr, "null for a second stream", "a port");
  expectStream(48000, kStreamId, 8);
  bench.component->output().disconnectInput(bench.port);
  bench.step("disconnect the input and connect another one");
  bench.expect(connectAnother() == bench.port, "the same port for the next stream", "another one");
  expectStream(44100, 1234, 4);
}

void listsFormats(Bench& bench) {
  bench.make();
  Tavro::StandardAllocator<Tavro::Node<Tavro::FormatDescriptor>> allocator;
  Tavro::FormatList list(&allocator);
  list.append({7, 7, 7, 7, 7});
  const auto formats = [&](std::uint32_t media, std::uint32_t model, std::uint32_t type) {
    return bench.component->component().getSupportedFormats(
        nullptr, static_cast<Tavro::MediaType>(media), static_cast<Tavro::DataModel>(model),
        static_cast<Tavro::PortType>(type), &list);
  };
  const std::array<std::array<std::uint32_t, 3>, 4> others = {
      {{2, 2, 2}, {2, 1, 1}, {1, 2, 1}, {0, 0, 0}}};
  for (const auto& [media, model, type] : others) {
    bench.expectEqual(
        fmt::format("formats of media type {}, data model {}, port type {}", media, model, type),
        formats(media, model, type), false);
  }
  bench.expectEqual("formats of an audio stream's input", formats(2, 2, 1), true);
  Lines found;
  for (const auto* node = list.m_first; node != nullptr; node = node->next) {
    const Tavro::FormatDescriptor& format = node->value;
    found.push_back(fmt::format("{:#x}/{}/{}/{}/{}", format.formatCode, format.reserved1,
                                format.reserved2, format.dataModel, format.rank));
  }
  bench.expectEqual(
      "the list", found,
      Lines{"0x7/7/7/7/7", "0x3/0/0/2/10", "0x736f7774/0/0/2/20", "0x0/0/0/2/20", "0x1/0/0/2/20"});
}

// The channel count.

constexpr AudioChannelLayoutTag kOctagonal = kAudioChannelLayoutTag_AudioUnit_8;

std::uintptr_t channels(Bench& bench) {
  _Variant answer{9, 12345};
  bench.expectEqual("the channel query",
                    bench.port->readQuery(Tavro::PortQuery::kMaximumChannels, &answer), true);
  bench.expectEqual("type code of its answer", answer.type, Tavro::VariantType::kUInt32);
  return answer.value;
}

void answerLayout(Bench& bench, const Bytes& record) {
  Script::answerObjectProperty(bench.platform.device().id(),
                               kAudioDevicePropertyPreferredChannelLayout, {.bytes = record});
}

void expectChannels(Bench& bench, const std::string& what, AudioChannelLayoutTag tag,
                    const Labels& labels, std::uintptr_t wanted) {
  answerLayout(bench, layoutRecord(tag, labels));
  bench.expectEqual("channels of " + what, channels(bench), wanted);
}

void countsChannels(Bench& bench) {
  // A limit of the settings changes nothing: the device decides.
  bench.session.settings[{"Channels", "Maximum"}] = {Tavro::VariantType::kUInt32, 1};
  bench.connect();
  for (const AudioChannelLayoutTag tag :
       {0x00640001U, 0x006C0004U, 0x006D0005U, 0x006E0006U, 0x006F0008U, 0x00760005U, 0x00790006U,
        0x007D0007U, 0x007E0008U, 0x00800008U, 0x008B0006U, 0x008C0007U, 0x00940007U}) {
    expectChannels(bench, fmt::format("layout {:#x}", tag), tag, {}, tag & 0xFFFF);
  }
  for (const AudioChannelLayoutTag tag : {0x00650002U, 0x007A0006U, 0x00010000U, 0x007F0008U,
                                          0x00640008U, 0x00910000U, 0xFFFFFFFFU}) {
    expectChannels(bench, fmt::format("another layout, {:#x}", tag), tag, {1, 2, 3, 4, 5, 6}, 2);
  }
  const std::array<std::pair<Labels, std::uintptr_t>, 5> described = {
      {{{1, 0, 2, 3, 0, 4}, 4}, {{}, 0}, {{0, 0}, 0}, {{0xFFFFFFFF}, 1}, {Labels(12, 1), 8}}};
  for (const auto& [labels, wanted] : described) {
    expectChannels(bench, fmt::format("{} descriptions", labels.size()), 0, labels, wanted);
  }
}

void staysWithinTheRecord(Bench& bench) {
  constexpr std::size_t kHeader = offsetof(AudioChannelLayout, mChannelDescriptions);
  constexpr std::size_t kEach = sizeof(AudioChannelDescription);
  bench.connect();
  Bytes record = layoutRecord(0, {1, 2, 3, 4, 5, 6});
  const auto expectOf = [&](std::size_t bytes, std::uintptr_t wanted) {
    answerLayout(bench, slice(record, 0, bytes));
    bench.expectEqual(fmt::format("channels in the first {} bytes of a layout", bytes),
                      channels(bench), wanted);
  };
  expectOf(kHeader + 3 * kEach, 3);
  expectOf(kHeader + 3 * kEach - 1, 2);
  expectOf(kHeader, 0);
  std::memset(&record[8], 0xFF, 4);  // the number of descriptions
  expectOf(kHeader + 5 * kEach, 5);
  for (const std::size_t bytes : {1U, 4U, 8U, 11U}) {
    answerLayout(bench, Bytes(bytes, 0));
    const std::uintptr_t count = channels(bench);
    bench.expect(count <= 2, fmt::format("at most 2 channels in {} bytes", bytes), inWords(count));
  }
  Script::answerObjectProperty(bench.platform.device().id(),
                               kAudioDevicePropertyPreferredChannelLayout,
                               {.bytes = slice(record, 0, kHeader + 2 * kEach),
                                .claimedBytes = static_cast<std::uint32_t>(record.size())});
  bench.expectEqual("channels if less is read than announced", channels(bench), 2U);
}

void answersTwoIfUnreadable(Bench& bench) {
  bench.connect();
  for (const char* function : {"AudioObjectGetPropertyDataSize", "AudioObjectGetPropertyData"}) {
    for (const std::uint64_t nth : {1U, 2U}) {
      answerLayout(bench, layoutRecord(kOctagonal));
      Script::failCall(function, nth, kAudioHardwareBadObjectError);
      bench.expectEqual(fmt::format("channels if call {} of {} fails", nth, function),
                        channels(bench), 2U);
      bench.expectEqual("channels afterwards", channels(bench), 8U);
    }
  }
  for (const std::uint32_t claimed : {0U, 100U}) {
    Script::answerObjectProperty(bench.platform.device().id(),
                                 kAudioDevicePropertyPreferredChannelLayout,
                                 {.bytes = {}, .claimedBytes = claimed});
    bench.expectEqual("channels of a layout without bytes", channels(bench), 2U);
  }
}

/// Each kind of answer, with recording off so that only the component allocates.
void keepsNoMemoryOfQueries(Bench& bench) {
  bench.requireWatch();
  bench.connect();
  Script::reset();
  const std::array<std::pair<const char*, Script::Answer>, 5> answers = {
      {{"a layout", {.bytes = layoutRecord(kOctagonal)}},
       {"a read of nothing", {.bytes = {}, .claimedBytes = 100}},
       {"a value without bytes", {.bytes = {}}},
       {"a size but no value", {.status = kAudioHardwareBadObjectError, .claimedBytes = 100}},
       {"no such property", {.status = kAudioHardwareUnknownPropertyError}}}};
  const std::array<std::pair<AudioObjectID, UInt32>, 2> properties = {
      {{bench.platform.device().id(), kAudioDevicePropertyPreferredChannelLayout},
       {kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice}}};
  for (const auto& [object, property] : properties) {
    for (const auto& [name, answer] : answers) {
      const Bench::Case answered(bench, name);
      Script::answerObjectProperty(object, property, answer);
      _Variant value{};
      const std::int64_t before = Watch::liveBlocks();
      bench.port->readQuery(Tavro::PortQuery::kMaximumChannels, &value);
      bench.expectEqual("blocks left over", Watch::liveBlocks() - before, 0);
    }
    Script::reset();
  }
}

}  // namespace

std::vector<Promise> componentPromises() {
  const char* subject = "component";
  return {
      {"create-and-destroy", subject,
       "create() registers with session and clock and reads the channel limit; destroy() undoes "
       "it.",
       registersWithItsSession},
      {"information", subject,
       "The information entries are BitsPerSample, Name and Type, each of its type.",
       describesItself},
      {"component-events", subject,
       "The component accepts its two events and refuses every other event, check and query.",
       answersComponentEvents},
      {"connection", subject,
       "connectInput() takes one audio stream; disconnectInput() releases only its port.",
       connectsOneStream},
      {"connected-stream", subject,
       "A refused connection changes nothing; the next one brings its own stream and format.",
       keepsTheConnectedStream},
      {"supported-formats", subject,
       "getSupportedFormats() appends float, big-endian, raw and integer, for audio inputs only.",
       listsFormats},
      {"maximum-channels", subject,
       "The channel query returns the count of the device's preferred layout, 8 at most.",
       countsChannels},
      {"maximum-channels-truncated", subject,
       "The channel query reads no further than the layout that the platform returned.",
       staysWithinTheRecord},
      {"maximum-channels-unreadable", subject,
       "The channel query returns 2 if device or layout cannot be read.", answersTwoIfUnreadable},
      {"maximum-channels-memory", subject,
       "The channel query frees what it reads, whatever the platform returns.",
       keepsNoMemoryOfQueries},
  };
}

}  // namespace Check
