// Inputs that have to be decoded, beside what the ffmpeg program makes of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "tests/support/Wave.h"
#include "tests/support/Workbench.h"

namespace {

struct Encoding {
  const char* file;
  Words encoder;
  const char* raw;  // the decoded samples' type
};

class Decoder : public Workbench {
 protected:
  void expectAsDecoded(const Encoding& encoding) {
    Words encode{"-i", "in.wav"};
    encode.insert(encode.end(), encoding.encoder.begin(), encoding.encoder.end());
    encode.push_back(encoding.file);
    ffmpeg(encode);
    ffmpeg({"-i", encoding.file, "-f", encoding.raw, "reference"});
    const Result result = play({"--device", "file:out.wav", encoding.file});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(isExactly(readWave(path("out.wav")), readFile(path("reference")))) << encoding.file;
  }
};

TEST_F(Decoder, everyKindOfInputPlaysAsItsDecoderGivesIt) {
  writeWave(path("in.wav"), noise({24, false, 2, 48000}, 24000));
  for (const Encoding& encoding : {
           Encoding{"flac16.flac", {"-sample_fmt", "s16"}, "s16le"},
           {"flac24.flac", {"-sample_fmt", "s32", "-bits_per_raw_sample", "24"}, "s24le"},
           {"big.aiff", {"-c:a", "pcm_s16be"}, "s16le"},
           {"big24.aiff", {"-c:a", "pcm_s24be"}, "s24le"},
           {"eight.wav", {"-c:a", "pcm_u8"}, "s16le"},
           {"law.wav", {"-c:a", "pcm_mulaw"}, "s16le"},
           {"double.wav", {"-c:a", "pcm_f64le"}, "f32le"},
           {"lossy.mp3", {"-c:a", "libmp3lame"}, "f32le"},
           {"lossy.ogg", {"-c:a", "libvorbis"}, "f32le"},
           {"lossy.m4a", {"-c:a", "aac"}, "f32le"},
           {"lossy.ac3", {"-c:a", "ac3"}, "f32le"},
       }) {
    expectAsDecoded(encoding);
  }
}

/// In frames where the container counts them.
TEST_F(Decoder, aTruncatedFileIsReportedAndAWholeOneIsNot) {
  writeWave(path("in.wav"), noise({16, false, 2, 48000}, 96000));
  struct Case {
    const char* file;
    Words encoder;
    const char* says;  // null: the container does not say
  };
  for (const Case& each : {
           Case{"plain.wav", {}, "76793 of 96000 frames"},
           {"law.wav", {"-c:a", "pcm_mulaw"}, " of 96000 frames"},
           {"vbr.mp3", {"-q:a", "4"}, " of 97920 frames"},
           {"cbr.mp3", {"-b:a", "128k"}, " of 97920 frames"},
           {"vorbis.ogg", {"-c:a", "libvorbis"}, "last page"},
           {"flac.oga", {"-c:a", "flac"}, "last page"},
           {"opus.opus", {"-c:a", "libopus"}, "last page"},
           {"opus.mkv", {"-c:a", "libopus"}, "bytes are missing"},
           {"aac.m4a", {"-c:a", "aac", "-movflags", "faststart"}, "bytes are missing"},
           {"mp3.avi", {"-c:a", "mp3"}, "bytes are missing"},
           {"piped.wav", {"-seekable", "0"}, nullptr},
           {"piped.mkv", {"-c:a", "libopus", "-seekable", "0"}, nullptr},
           {"no-header.mp3", {"-write_xing", "0"}, nullptr},
           {"few-frames.mp3", {"-write_xing", "0", "-t", "0.1"}, nullptr},
           {"vbr-no-header.mp3", {"-write_xing", "0", "-q:a", "4"}, nullptr},
       }) {
    Words encode{"-i", "in.wav"};
    encode.insert(encode.end(), each.encoder.begin(), each.encoder.end());
    encode.push_back(each.file);
    ffmpeg(encode);
    Result result = play({"-q", "--device", "file:out.wav", each.file});
    EXPECT_TRUE(result.status == 0 && result.err.empty()) << each.file << result.err;

    Bytes bytes = readFile(path(each.file));
    bytes.resize(bytes.size() / 20 * 16 + 2);  // of WAV between two frames
    writeFile(path(each.file), bytes);
    result = play({"--device", "file:out.wav", each.file});
    EXPECT_EQ(result.status, each.says == nullptr ? 0 : 3) << each.file << result.err;
    EXPECT_NE(result.err.find(each.says == nullptr ? "" : each.says), std::string::npos)
        << each.file << ": " << result.err;
  }
}

class Handover : public Decoder {
 protected:
  void SetUp() override { writeWave(path("in.wav"), noise({16, false, 2, 48000}, 96000)); }

  Bytes decoded(const std::string& file) const {
    ffmpeg({"-i", file, "-f", "s16le", "reference"});
    return readFile(path("reference"));
  }
};

TEST_F(Handover, aDamagedFileGoesOnBehindTheDamageAndIsTold) {
  ffmpeg({"-i", "in.wav", "good.flac"});
  Bytes bytes = readFile(path("good.flac"));
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), 8, 'x');
  writeFile(path("damaged.flac"), bytes);
  bytes.resize(bytes.size() * 3 / 4);
  writeFile(path("cut.flac"), bytes);

  Result result = play({"--device", "file:out.wav", "damaged.flac"});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find("damaged.flac: damaged"), std::string::npos) << result.err;
  EXPECT_TRUE(isExactly(readWave(path("out.wav")), decoded("damaged.flac")));

  result = play({"--device", "file:out.wav", "cut.flac"});
  EXPECT_EQ(result.status, 3);
  EXPECT_NE(result.err.find(" of 96000 frames"), std::string::npos) << result.err;
  EXPECT_TRUE(isExactly(readWave(path("out.wav")), decoded("cut.flac")));
}

TEST_F(Handover, burstsInAWaveFileAreNoNoise) {
  ffmpeg({"-i", "in.wav", "-c:a", "ac3", "-f", "spdif", "bursts"});
  writeWave(path("bursts.wav"), {{16, false, 2, 48000}, readFile(path("bursts"))});
  // Behind a chunk that fills what is looked at first, of a file that says its size truly.
  Bytes late = readFile(path("bursts.wav"));
  Bytes junk(70'008);
  std::ranges::copy(std::string("JUNK\x70\x11\x01"), junk.begin());
  late.insert(late.begin() + 60, junk.begin(), junk.end());
  const std::uint32_t size = static_cast<std::uint32_t>(late.size()) - 8;
  std::memcpy(late.data() + 4, &size, sizeof(size));
  writeFile(path("late.wav"), late);
  for (const std::string file : {"bursts.wav", "late.wav"}) {
    const Result result = play({"--explain-passthrough", "--device", "file:out.spdif", file});
    EXPECT_NE(result.out.find(file + ": passed through"), std::string::npos) << result.out;
  }
}

}  // namespace
