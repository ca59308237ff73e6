// Inputs that have to be decoded, beside what the ffmpeg program makes of them.

#include <gtest/gtest.h>

#include <string>

#include "tests/player/Wave.h"
#include "tests/player/Workbench.h"

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

}  // namespace
