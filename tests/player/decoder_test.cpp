// SPDX-License-Identifier: MIT

// Inputs that have to be decoded, beside what the ffmpeg program makes of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "tests/support/Workbench.h"

namespace {

class Decoder : public Workbench {
 protected:
  /// Encodes in.wav.
  void encodeAs(const std::string& file, Words encoder) const {
    encoder.insert(encoder.begin(), {"-i", "in.wav"});
    encoder.push_back(file);
    ffmpeg(encoder);
  }

  /// Expects that it plays, with that status, as the ffmpeg program decodes it to that type. MP3 is
  /// decoded by another library, whose samples differ by their last bits.
  Result expectAsDecoded(const std::string& file, int status, const char* type) const {
    ffmpeg({"-i", file, "-f", type, "reference"});
    const Result result = play({"--device", "file:out.wav", file});
    EXPECT_EQ(result.status, status) << file << ": " << result.err;
    const Wave played = readWave(path("out.wav"));
    const Bytes reference = readFile(path("reference"));
    EXPECT_TRUE(file.ends_with(".mp3") ? isNear(played.data, reference)
                                       : isExactly(played, reference))
        << file;
    return result;
  }

  static testing::AssertionResult isNear(const Bytes& played, const Bytes& expected) {
    float furthest = played.size() == expected.size() ? 0.0F : 1.0F;
    for (std::size_t at = 0; furthest < 1.0F && at < played.size(); at += sizeof(float)) {
      float a = 0.0F, b = 0.0F;
      std::memcpy(&a, &played[at], sizeof a);
      std::memcpy(&b, &expected[at], sizeof b);
      furthest = std::max(furthest, std::abs(a - b));
    }
    return furthest < 1e-5F ? testing::AssertionSuccess()
                            : testing::AssertionFailure() << "differs by " << furthest;
  }
};

TEST_F(Decoder, everyKindOfInputPlaysAsItsDecoderGivesIt) {
  writeWave(path("in.wav"), noise({24, false, 2, 48000}, 24000));
  struct Case {
    const char* file;
    Words encoder;
    const char* type;
  };
  for (const Case& each : {
           Case{"flac16.flac", {"-sample_fmt", "s16"}, "s16le"},
           {"flac24.flac", {"-sample_fmt", "s32", "-bits_per_raw_sample", "24"}, "s24le"},
           {"big.aiff", {"-c:a", "pcm_s16be"}, "s16le"},
           {"big24.aiff", {"-c:a", "pcm_s24be"}, "s24le"},
           {"eight.wav", {"-c:a", "pcm_u8"}, "s16le"},
           {"law.wav", {"-c:a", "pcm_mulaw"}, "s16le"},
           {"double.wav", {"-c:a", "pcm_f64le"}, "f32le"},
           {"lossy.mp3", {"-b:a", "32k"}, "f32le"},
           {"lossy.ogg", {"-c:a", "libvorbis"}, "f32le"},
           {"lossy.m4a", {"-c:a", "aac"}, "f32le"},
           {"lossy.ac3", {"-c:a", "ac3"}, "f32le"},
       }) {
    encodeAs(each.file, each.encoder);
    expectAsDecoded(each.file, 0, each.type);
  }
  const Result piped =
      run("sh", {"-c", "cat flac24.flac | \"$0\" -q --device file:out.wav /dev/stdin", PLAYER});
  EXPECT_TRUE(piped.status == 0 && piped.err.empty()) << piped.err;
  EXPECT_TRUE(isExactly(readWave(path("out.wav")), readWave(path("in.wav")).data));
  expectAsDecoded("lossy.mp3", 0, "f32le");
  const Bytes whole = readWave(path("out.wav")).data;
  play({"--start", "0.25", "--device", "file:out.wav", "lossy.mp3"});
  EXPECT_TRUE(isNear(readWave(path("out.wav")).data, Bytes(whole.begin() + 96'000, whole.end())));
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
    encodeAs(each.file, each.encoder);
    Result result = play({"-q", "--device", "file:out.wav", each.file});
    EXPECT_TRUE(result.status == 0 && result.err.empty()) << each.file << result.err;

    Bytes bytes = readFile(path(each.file));
    const std::size_t lastPage = std::string(bytes.begin(), bytes.end()).rfind("OggS");
    bytes.resize(each.file == std::string("vorbis.ogg") ? bytes.size() - 1
                 : lastPage != std::string::npos
                     ? lastPage
                     : bytes.size() / 20 * 16 +
                           (each.says != nullptr ? 3 : 2));  // within a frame if it is reported
    writeFile(path(each.file), bytes);
    result = play({"--device", "file:out.wav", each.file});
    EXPECT_EQ(result.status, each.says == nullptr ? 0 : 3) << each.file << result.err;
    EXPECT_TRUE(says(result.err, each.says == nullptr ? "" : each.says)) << each.file;
  }
}

TEST_F(Decoder, aDamagedFileGoesOnBehindTheDamageAndIsTold) {
  writeWave(path("in.wav"), noise({16, false, 2, 48000}, 96000));
  ffmpeg({"-i", "in.wav", "good.flac"});
  Bytes bytes = readFile(path("good.flac"));
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), 8, 'x');
  writeFile(path("damaged.flac"), bytes);
  bytes.resize(bytes.size() * 3 / 4);
  writeFile(path("cut.flac"), bytes);

  for (const auto& [file, words] :
       {std::pair{"damaged.flac", "damaged.flac: damaged"}, {"cut.flac", " of 96000 frames"}}) {
    EXPECT_TRUE(says(expectAsDecoded(file, 3, "s16le").err, words));
  }
}

TEST_F(Decoder, burstsInAWaveFileAreNoNoise) {
  encode("in.ac3", {});
  writeWave(path("bursts.wav"), {{16, false, 2, 48000}, burstsOf("in.ac3")});
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
    EXPECT_TRUE(says(result.out, file + ": passed through"));
  }
}

}  // namespace
