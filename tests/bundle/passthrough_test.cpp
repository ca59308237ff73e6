// SPDX-License-Identifier: MIT

#include <cmath>

#include "PassthroughTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(PassthroughTest, theFirstStreamThatOffersAMatchIsSwitchedAndStarted) {
  session.settings[{"Output", "Volume"}] = {Tavro::VariantType::kUInt8, 10};
  EXPECT_TRUE(passthrough());
  announceVolume({Tavro::VariantType::kUInt8, 20});  // there is no unit to reach
  EXPECT_THAT(journal.take({"AudioObjectGetPropertyData(", "AudioObjectSet", "AudioDevice", "AU",
                            "NewAU", "AudioUnit", "session"}),
              ElementsAre("AudioObjectGetPropertyData(1, 'dOut', 'glob', 0)",
                          "AudioObjectGetPropertyData(40, 'stm#', 'outp', 0)",
                          "AudioObjectGetPropertyData(51, 'pfta', 'glob', 0)",
                          "AudioObjectGetPropertyData(52, 'pfta', 'glob', 0)",
                          "AudioObjectGetPropertyData(52, 'pft ', 'glob', 0)",
                          "AudioObjectSetPropertyData(52, 'pft ', 'glob', 0, 40)",
                          "AudioDeviceCreateIOProcID(40)", "AudioDeviceStart(40)",
                          "session.getSetting 2 Output Volume"));
  EXPECT_TRUE(has(52, physical(kAudioFormatAC3)));
  EXPECT_TRUE(hasFormer(51));
  ASSERT_NE(platform.ioProc(), nullptr);
  EXPECT_TRUE(platform.ioProc()->running);
  EXPECT_EQ(info("BitsPerSample"), "16");
}

TEST_F(PassthroughTest, eachOfTheFourCodesIsAcceptedAndNoFormatDescriptorIsNeeded) {
  setStreams({51});
  for (const UInt32 code : {0x49414333U, 0x69616333U, 0x63616333U, 0x61632D33U}) {
    offer(51, {physical(kAudioFormatLinearPCM), physical(code)});
    EXPECT_TRUE(passthrough()) << std::hex << code;
    EXPECT_TRUE(has(51, physical(code)));
    event(Tavro::PortEvent::kDisconnect);  // takes the descriptor away
    EXPECT_TRUE(hasFormer(51));
    EXPECT_FALSE(passthrough(1, 1));
  }
}

TEST_F(PassthroughTest, theFirstMatchingEntryOfTheFirstStreamWinsAndIsTakenWhole) {
  setStreams({51, 52, 53});
  offer(52, {physical(kAudioFormatAC3, 44100), physical(kAudioFormatAC3, 48000, 6),
             physical(kAudioFormatAC3, std::nan("")), physical(0x61632D34),
             physical(kAudioFormat60958AC3, 48000, 2, 3), physical(kAudioFormatAC3, 48000, 2, 4)});
  offer(53, {physical(0x49414333)});
  ASSERT_TRUE(passthrough());
  EXPECT_TRUE(has(52, physical(kAudioFormat60958AC3, 48000, 2, 3)));
  EXPECT_TRUE(hasFormer(53));
}

TEST_F(PassthroughTest, teardownRestoresTheFormerFormatOnceAndDeletionDoesTheSame) {
  ASSERT_TRUE(passthrough());
  journal.take();
  EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
  EXPECT_THAT(journal.take(), ElementsAre("AudioDeviceStop(40)", "AudioDeviceDestroyIOProcID(40)",
                                          "AudioObjectSetPropertyData(52, 'pft ', 'glob', 0, 40)"));
  EXPECT_TRUE(hasFormer(52));
  EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_FALSE(passthrough(1, 1));
  ASSERT_TRUE(passthrough());
  dropComponent();
  EXPECT_TRUE(hasFormer(52));
}

TEST_F(PassthroughTest, aPcmWriteWithoutAFormatEndsItAndItMayBeginAgain) {
  event(Tavro::PortEvent::kDisconnect);  // takes the format away
  ASSERT_TRUE(passthrough());
  journal.take();
  EXPECT_FALSE(write(48000, 2, 16));
  EXPECT_THAT(journal.take(), ElementsAre("AudioDeviceStop(40)", "AudioDeviceDestroyIOProcID(40)",
                                          "AudioObjectSetPropertyData(52, 'pft ', 'glob', 0, 40)"));
  EXPECT_TRUE(passthrough()) << "the mode was not stored";
}

TEST_F(PassthroughTest, changesOfModeAndOfPropertiesRebuild) {
  EXPECT_TRUE(write(48000, 2, 16));
  EXPECT_TRUE(passthrough());
  EXPECT_EQ(platform.liveGraph(), nullptr);
  EXPECT_FALSE(passthrough());
  EXPECT_TRUE(platform.ioProc()->running);
  EXPECT_TRUE(write(48000, 2, 16));
  EXPECT_EQ(platform.ioProc(), nullptr);
  EXPECT_TRUE(hasFormer(52));
  event(Tavro::PortEvent::kStart);
  journal.take();
  EXPECT_FALSE(passthrough(44100)) << "no stream offers it";
  EXPECT_THAT(journal.take({"AudioObjectSet", "AudioDevice"}), IsEmpty());
  EXPECT_EQ(platform.liveGraph(), nullptr);
  EXPECT_FALSE(ready());
}

TEST_F(PassthroughTest, everyCallOfASessionMayFailAndNothingStaysRegistered) {
  unsigned calls = 1;
  for (unsigned failing = 0; failing <= calls; ++failing) {
    SCOPED_TRACE(failing);
    platform.reset();
    SetUp();
    platform.fail("", -77, failing);
    passthrough();
    queueBursts({kBurstBytes, kBurstBytes, kBurstBytes});
    if (platform.ioProc() != nullptr) {
      cycle();
    }
    write(44100, 2, 16);
    passthrough();
    EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
    const unsigned callsNow = platform.calls();
    end();
    EXPECT_EQ(platform.calls(), callsNow) << "calls after the teardown";
    calls = failing == 0 ? callsNow : calls;
  }
  EXPECT_GT(calls, 30U);
}

}  // namespace
