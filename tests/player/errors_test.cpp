// SPDX-License-Identifier: MIT

// Whatever is wrong is told in one line, with its exit status.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Workbench.h"

namespace {

class Errors : public Workbench {
 protected:
  void SetUp() override {
    writeWave(path("good.wav"), noise({16, false, 2, 48000}, 20000));
    writeFile(path("empty.wav"), {});
    for (const char* text : {"letter.txt", "list.m3u"}) {
      writeFile(path(text), joined({{'\n'}, Bytes(2000, 'a')}));
    }
    writeWave(path("no-frames.wav"), noise({16, false, 2, 48000}, 0));
    std::filesystem::create_directory(path("folder"));
    std::filesystem::create_directory(path("music"));
    ffmpeg({"-i", "good.wav", "music/one.mp3"});
    ffmpeg({"-i", "good.wav", "good.flac"});
    // As ADPCM to who guesses by content, as samples of some rate to who goes by the name.
    ffmpeg({"-f", "lavfi", "-i", "sine=duration=4:sample_rate=48000", "-ac", "2", "-f", "s16le",
            "samples"});
    std::filesystem::copy_file(path("samples"), path("samples.sw"));
    Bytes flac = readFile(path("good.flac"));
    flac.resize(flac.size() / 2);
    writeFile(path("truncated.flac"), flac);
    Bytes wave = readFile(path("good.wav"));
    wave.resize(wave.size() / 2);
    writeFile(path("truncated.wav"), wave);
    ffmpeg({"-f", "lavfi", "-i", "color=size=16x16:duration=0.2", "silent.avi"});
    ffmpeg({"-f", "lavfi", "-i", "color=size=16x16", "-frames:v", "1", "picture.png"});
  }
};

TEST_F(Errors, eachIsOneLineAndTheRightStatus) {
  struct Case {
    Words arguments;
    int status;
    const char* says;
  };
  const std::string out = "file:out.wav";
  const Bytes before = readFile(path("good.wav"));
  for (const Case& wrong : {
           Case{{"--device", out, "empty.wav"}, 3, "empty.wav: is empty"},
           {{"--device", out, "letter.txt"}, 3, "letter.txt: is a text file"},
           {{"--device", out, "list.m3u"}, 3, "is a playlist"},
           {{"--device", out, "samples"}, 3, "raw PCM"},
           {{"--device", out, "samples.sw"}, 3, "raw PCM"},
           {{"--device", out, "no-frames.wav"}, 3, "no-frames.wav"},
           {{"--device", out, "folder"}, 3, "is a folder; name files instead"},
           {{"--device", out, "music"}, 3, "is a folder; name files in it, e.g. music/*.mp3"},
           {{"--device", out, "missing.wav"}, 3, "No such file"},
           {{"--device", out, "silent.avi"}, 3, "is a video without audio"},
           {{"--device", out, "picture.png"}, 3, "is a picture"},
           {{"--device", out, "truncated.flac"}, 3, "truncated: "},
           {{"--device", out, "truncated.wav"}, 3, "truncated: "},
           {{"--device", out, "--start", "1:00", "good.wav"},
            3,
            "--start 60: the file ends at 0.41"},
           {{"--device", "file:nowhere/out.wav", "good.wav"}, 4, "nowhere/out.wav"},
           {{"--device", "file:folder", "good.wav"}, 4, "folder"},
           {{"--device", "file:/dev/full", "good.wav"}, 4, "No space left on device"},
           {{"--device", "no such device", "good.wav"}, 4, "--list-devices"},
           {{"--device", "file:good.wav", "good.wav"}, 2, "one of the inputs"},
           {{"--device", "file:./folder/../good.wav", "good.wav"}, 2, "one of the inputs"},
           {{"--device", "file:out.MP3", "good.wav"}, 2, ".wav file (PCM) or a .spdif"},
           {{"--device", out, "--volume", "101", "good.wav"}, 2, "--volume"},
           {{"--device", out, "--passthrough", "so", "good.wav"}, 2, "auto, on or off: so"},
           {{"--device", out, "--start", "soon", "good.wav"}, 2, "soon"},
           {{"--device", out, "--length", "0", "good.wav"}, 2, "--length"},
           {{"--device", out, "--loop", "0", "good.wav"}, 2, "--loop"},
           {{"--device", out, "--simulate", "--real-time", "good.wav"}, 2, "--real-time"},
           {{"--device", "pulse:one", "--simulate", "good.wav"},
            2,
            "--simulate needs a file device"},
           {{"--device", "alsa:one", "--simulate", "good.wav"},
            2,
            "--simulate needs a file device"},
           {{"--device", out, "--events", "nowhere/e", "good.wav"}, 2, "nowhere/e"},
           {{"--device", out, "--json", "nowhere/j", "good.wav"}, 2, "nowhere/j"},
           {{"--device", out, "--json", "folder", "good.wav"}, 2, "folder"},
           {{"--device", out, "--json", "/dev/full", "good.wav"}, 1, "/dev/full"},
           {{"--device", out, "--json", "-", "--events", "-", "good.wav"}, 2, "--events"},
           {{"--device", out, "--events", "/dev/full", "good.wav"}, 1, "/dev/full"},
           {{"--device", out, "--plugin", "nowhere.so", "good.wav"}, 1, "nowhere.so"},
           {{"--wrong", "good.wav"}, 2, "--wrong"},
           {{}, 2, "FILE"},
       }) {
    std::filesystem::remove(path("out.wav"));
    const Result result = play(wrong.arguments);
    const std::string command = testing::PrintToString(wrong.arguments);
    EXPECT_TRUE(saysInOneLine(result, wrong.status, wrong.says)) << command;
    EXPECT_TRUE(wrong.status != 2 || !std::filesystem::exists(path("out.wav"))) << command;
  }
  EXPECT_EQ(readFile(path("good.wav")), before);
}

TEST_F(Errors, whatIsThereOfACutOffInputIsPlayed) {
  const Wave good = readWave(path("good.wav"));
  ASSERT_EQ(play({"--device", "file:out.wav", "truncated.wav"}).status, 3);
  const Wave out = readWave(path("out.wav"));
  ASSERT_GT(out.frames(), 9000u);
  EXPECT_EQ(framesOf(out, 0, 9000), framesOf(good, 0, 9000));
}

}  // namespace
