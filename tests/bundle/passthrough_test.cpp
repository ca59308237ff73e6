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

TEST_F(PassthroughTest, aStreamWhoseFormatsCannotBeReadWholeIsPassedOver) {
  platform.fail("AudioObjectGetPropertyData", -1, 3);
  EXPECT_TRUE(passthrough());
  event(Tavro::PortEvent::kDisconnect);
  platform.properties.erase({51, kAvailable, kGlobal});
  EXPECT_FALSE(passthrough());  // nothing changed: no new attempt
  EXPECT_FALSE(passthrough(44100));
  EXPECT_TRUE(passthrough());
  event(Tavro::PortEvent::kDisconnect);
  platform.properties[{52, kAvailable, kGlobal}].pop_back();  // only whole entries count
  EXPECT_FALSE(passthrough(44100));
  EXPECT_FALSE(passthrough());
  platform.properties[{52, kAvailable, kGlobal}].resize(56);  // and those that are returned
  platform.announcedSizes[kAvailable] = 112;
  EXPECT_FALSE(passthrough(44100));
  EXPECT_FALSE(passthrough());
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
  component.reset();
  EXPECT_TRUE(hasFormer(52));
}

TEST_F(PassthroughTest, whatCouldNotBeSavedIsNotRestoredUnlessItWasSavedBefore) {
  for (const bool savedBefore : {false, true}) {
    SetUp();
    const auto expectRestored = [&](bool expected) {
      event(Tavro::PortEvent::kDisconnect);
      EXPECT_EQ(journal.take({"AudioObjectSet"}).size(), expected ? 1U : 0U);
    };
    if (savedBefore) {
      ASSERT_TRUE(passthrough());
      journal.take();
      expectRestored(true);
    }
    const Bytes former = platform.properties.extract({52, kPhysical, kGlobal}).mapped();
    offer(52, {physical(kAudioFormatAC3, 32000)});
    ASSERT_TRUE(passthrough(32000));
    journal.take();
    expectRestored(savedBefore);
    const Bytes& now = platform.properties[{52, kPhysical, kGlobal}];
    EXPECT_EQ(now == former, savedBefore);
    end();
  }
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

TEST_F(PassthroughTest, eachStepOfTheStartThatFailsHasItsOwnConsequence) {
  struct Step {
    const char* function;
    const char* lastCall;
    bool formatStays;
  };
  for (const Step& step : {Step{"AudioObjectSetPropertyData", "AudioObjectSetPropertyData", false},
                           Step{"AudioDeviceCreateIOProcID", "AudioDeviceCreateIOProcID", true},
                           Step{"AudioDeviceStart", "AudioDeviceDestroyIOProcID", true}}) {
    SCOPED_TRACE(step.function);
    setStreams({51, 52});
    platform.fail(step.function, kAudioDevicePermissionsError);
    EXPECT_FALSE(passthrough());
    EXPECT_TRUE(journal.take().back().starts_with(step.lastCall));
    EXPECT_EQ(platform.ioProc(), nullptr);
    EXPECT_EQ(has(52, physical(kAudioFormatAC3)), step.formatStays);
    EXPECT_FALSE(ready());
    event(Tavro::PortEvent::kDisconnect);
    EXPECT_THAT(journal.take(), IsEmpty()) << "an inactive path is torn down";
    EXPECT_FALSE(passthrough(1, 1));
    journal.take();
  }
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
