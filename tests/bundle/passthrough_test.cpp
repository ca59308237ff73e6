#include <cmath>

#include "PassthroughTest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(PassthroughTest, theFirstStreamThatOffersAMatchIsSwitchedAndStarted) {
  EXPECT_TRUE(passthrough());
  EXPECT_THAT(only(journal.take(), {"AudioObjectGetPropertyData(", "AudioObjectSet", "AudioDevice",
                                    "AU", "NewAU", "AudioUnit"}),
              ElementsAre("AudioObjectGetPropertyData(1, 'dOut', 'glob', 0)",
                          "AudioObjectGetPropertyData(40, 'stm#', 'outp', 0)",
                          "AudioObjectGetPropertyData(51, 'pfta', 'glob', 0)",
                          "AudioObjectGetPropertyData(52, 'pfta', 'glob', 0)",
                          "AudioObjectGetPropertyData(52, 'pft ', 'glob', 0)",
                          "AudioObjectSetPropertyData(52, 'pft ', 'glob', 0, 40)",
                          "AudioDeviceCreateIOProcID(40)", "AudioDeviceStart(40)"));
  EXPECT_EQ(current(52).mFormatID, UInt32{kAudioFormatAC3});
  EXPECT_TRUE(isFormer(51));
  ASSERT_NE(platform.ioProc(), nullptr);
  EXPECT_TRUE(platform.ioProc()->running);
  EXPECT_EQ(info("BitsPerSample"), "16");
}

TEST_F(PassthroughTest, theVolumeIsReadButReachesNoUnit) {
  session.set("Output", "Volume", {Tavro::VariantType::kUInt8, 10});
  ASSERT_TRUE(passthrough());
  settingChange("Output", "Volume", {Tavro::VariantType::kUInt8, 20});
  const Lines lines = journal.take();
  EXPECT_THAT(only(lines, {"AudioUnit"}), IsEmpty());
  EXPECT_THAT(only(lines, {"session.getSetting"}),
              ElementsAre("session.getSetting 2 Output Volume"));
}

TEST_F(PassthroughTest, eachOfTheFourCodesIsAccepted) {
  for (const UInt32 code : {0x49414333U, 0x69616333U, 0x63616333U, 0x61632D33U}) {
    setStreams({51});
    offer(51, {physical(kAudioFormatLinearPCM), physical(code)});
    EXPECT_TRUE(passthrough()) << codeText(code);
    EXPECT_EQ(current(51).mFormatID, code);
    event(Tavro::PortEvent::kDisconnect);
    EXPECT_TRUE(isFormer(51));
    EXPECT_FALSE(passthrough(1, 1));
    connectPeer(&upstream);
  }
}

TEST_F(PassthroughTest, theFirstMatchingEntryWinsAndIsTakenWhole) {
  offer(52, {physical(kAudioFormatAC3, 44100), physical(kAudioFormatAC3, 48000, 6),
             physical(kAudioFormat60958AC3, 48000, 2, 3), physical(kAudioFormatAC3, 48000, 2, 4)});
  ASSERT_TRUE(passthrough());
  const AudioStreamBasicDescription chosen = current(52);
  const AudioStreamBasicDescription expected = physical(kAudioFormat60958AC3, 48000, 2, 3);
  EXPECT_EQ(std::memcmp(&chosen, &expected, sizeof chosen), 0);
}

TEST_F(PassthroughTest, theFirstStreamWinsWhenTwoOfferAMatch) {
  setStreams({51, 52, 53});
  offer(53, {physical(0x49414333)});
  ASSERT_TRUE(passthrough());
  EXPECT_TRUE(isFormer(53));
}

TEST_F(PassthroughTest, withoutAMatchTheDeviceIsLeftUntouched) {
  offer(52, {physical(kAudioFormatAC3, 48000, 6), physical(kAudioFormatAC3, 44100, 2),
             physical(kAudioFormatAC3, std::nan(""), 2), physical(0x61632D34)});
  EXPECT_FALSE(passthrough());
  EXPECT_THAT(only(journal.take(), {"AudioObjectSet", "AudioDevice"}), IsEmpty());
  EXPECT_EQ(platform.liveIOProcs(), 0U);
  EXPECT_EQ(info("BitsPerSample"), "0");
}

TEST_F(PassthroughTest, aStreamWhoseFormatsCannotBeReadIsPassedOver) {
  platform.fail("AudioObjectGetPropertyData", -1, 3);
  EXPECT_TRUE(passthrough());
  event(Tavro::PortEvent::kDisconnect);
  platform.removeProperty(51, kAvailable, kGlobal);
  connectPeer(&upstream);
  EXPECT_FALSE(passthrough());  // nothing changed: no new attempt
  EXPECT_FALSE(passthrough(44100));
  EXPECT_TRUE(passthrough());
}

TEST_F(PassthroughTest, onlyWholeEntriesWithinTheBytesReturnedAreExamined) {
  const std::vector<AudioStreamRangedDescription> entries{{physical(kAudioFormatLinearPCM), {}},
                                                          {physical(kAudioFormatAC3), {}}};
  platform.setProperty(52, kAvailable, kGlobal, entries.data(), 2 * 56 - 1);
  EXPECT_FALSE(passthrough());
  platform.setProperty(52, kAvailable, kGlobal, entries.data(), 56);
  platform.announceSize(kAvailable, 112);
  EXPECT_FALSE(passthrough(44100));
}

TEST_F(PassthroughTest, teardownRestoresTheFormerFormatOnce) {
  ASSERT_TRUE(passthrough());
  journal.take();
  EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
  EXPECT_THAT(journal.take(), ElementsAre("AudioDeviceStop(40)", "AudioDeviceDestroyIOProcID(40)",
                                          "AudioObjectSetPropertyData(52, 'pft ', 'glob', 0, 40)"));
  EXPECT_TRUE(isFormer(52));
  EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(PassthroughTest, deletionGivesTheFormatBackToo) {
  ASSERT_TRUE(passthrough());
  component.reset();
  EXPECT_TRUE(isFormer(52));
  EXPECT_EQ(platform.liveIOProcs(), 0U);
}

TEST_F(PassthroughTest, nothingSavedMeansNothingRestored) {
  platform.removeProperty(52, kPhysical, kGlobal);
  ASSERT_TRUE(passthrough());
  journal.take();
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_THAT(journal.take(), ElementsAre("AudioDeviceStop(40)", "AudioDeviceDestroyIOProcID(40)"));
}

TEST_F(PassthroughTest, aFormatSavedEarlierIsNotRestoredForALaterUnreadableOne) {
  ASSERT_TRUE(passthrough());
  event(Tavro::PortEvent::kDisconnect);
  setStreams({52});
  offer(52, {physical(kAudioFormatAC3, 32000)});
  platform.removeProperty(52, kPhysical, kGlobal);
  ASSERT_TRUE(passthrough(32000));
  journal.take();
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_THAT(only(journal.take(), {"AudioObjectSet"}), IsEmpty());
}

TEST_F(PassthroughTest, aFormatSavedByAFailedStartIsNotRestoredForALaterUnreadableOne) {
  platform.fail("AudioDeviceStart", -1);
  ASSERT_FALSE(passthrough());
  offer(52, {physical(kAudioFormatAC3, 32000)});
  platform.removeProperty(52, kPhysical, kGlobal);
  ASSERT_TRUE(passthrough(32000));
  journal.take();
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_THAT(journal.take(), ElementsAre("AudioDeviceStop(40)", "AudioDeviceDestroyIOProcID(40)"));
}

TEST_F(PassthroughTest, changesOfModeAndOfPropertiesRebuild) {
  EXPECT_TRUE(write(48000, 2, 16));
  EXPECT_TRUE(passthrough());
  EXPECT_EQ(platform.liveGraphs(), 0U);
  EXPECT_FALSE(passthrough());
  EXPECT_TRUE(platform.ioProc()->running);
  EXPECT_TRUE(write(48000, 2, 16));
  EXPECT_EQ(platform.liveIOProcs(), 0U);
  EXPECT_TRUE(isFormer(52));
  EXPECT_EQ(platform.liveGraphs(), 1U);
}

TEST_F(PassthroughTest, aFailedStartDuringARunningGraphLeavesNoOutput) {
  ASSERT_TRUE(write(48000, 2, 16));
  event(Tavro::PortEvent::kStart);
  EXPECT_FALSE(passthrough(44100));
  EXPECT_EQ(platform.liveGraphs(), 0U);
  EXPECT_FALSE(ready());
}

TEST_F(PassthroughTest, noFormatDescriptorIsNeeded) {
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_TRUE(passthrough());
}

TEST_F(PassthroughTest, eachStepOfTheStartThatFailsHasItsOwnConsequence) {
  struct Step {
    const char* function;
    bool destroyed;
    bool formatStays;
  };
  for (const Step& step :
       {Step{"AudioObjectSetPropertyData", false, false},
        Step{"AudioDeviceCreateIOProcID", false, true}, Step{"AudioDeviceStart", true, true}}) {
    SCOPED_TRACE(step.function);
    setStreams({51, 52});
    platform.fail(step.function, kAudioDevicePermissionsError);
    journal.take();
    EXPECT_FALSE(passthrough());
    const Lines lines = journal.take();
    EXPECT_EQ(lines.back().rfind(step.destroyed ? "AudioDeviceDestroyIOProcID" : step.function, 0),
              0U);
    EXPECT_EQ(platform.liveIOProcs(), 0U);
    EXPECT_EQ(current(52).mFormatID == UInt32{kAudioFormatAC3}, step.formatStays);
    EXPECT_FALSE(ready());
    event(Tavro::PortEvent::kDisconnect);
    EXPECT_THAT(journal.take(), IsEmpty()) << "an inactive path is torn down";
    EXPECT_FALSE(passthrough(1, 1));
  }
}

TEST_F(PassthroughTest, everyCallOfASessionMayFailAndNothingStaysRegistered) {
  const auto sessionWith = [this](unsigned failing) {
    platform.reset();
    SetUp();
    if (failing != 0) {
      platform.failCall(failing, -77);
    }
    passthrough();
    queueBursts({kBurstBytes, kBurstBytes, kBurstBytes});
    if (platform.ioProc() != nullptr) {
      cycle();
    }
    write(44100, 2, 16);
    passthrough();
    EXPECT_TRUE(event(Tavro::PortEvent::kDisconnect));
    const unsigned calls = platform.calls();
    end();
    EXPECT_EQ(platform.calls(), calls) << "calls after the teardown";
    return calls;
  };
  end();
  const unsigned calls = sessionWith(0);
  ASSERT_GT(calls, 30U);
  for (unsigned failing = 1; failing <= calls; ++failing) {
    SCOPED_TRACE(failing);
    sessionWith(failing);
  }
}

}  // namespace
