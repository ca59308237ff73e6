// SPDX-License-Identifier: MIT

// Settings and their announcement.

#include "tavro_core/Session.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Tavro;

class Consumer : public SettingConsumer {
 public:
  void settingChanged(const Setting& setting, _Variant* value) override {
    heard.push_back(std::string(setting.group.m_data) + "/" + setting.name.m_data + "=" +
                    std::to_string(value->value));
    if (leaves != nullptr) {
      session->unregisterSettingConsumer(leaves);
    }
    _Variant stored{};
    if (session != nullptr && session->getSetting(setting, &stored)) {  // no lock is held
      EXPECT_EQ(stored.value, value->value);
    }
    value->value = 99;  // its own copy
  }
  std::vector<std::string> heard;
  Session* session = nullptr;
  SettingConsumer* leaves = nullptr;
};

TEST(SessionTest, aSettingIsKnownOnceItIsSetAndByItsWholeName) {
  Session session;
  _Variant value{};
  EXPECT_FALSE(session.getSetting(audioSetting(kVolumeName), &value));
  session.setSetting(audioSetting(kVolumeName), {VariantType::kUInt8, 50});
  session.setSetting(audioSetting(kVolumeName), {VariantType::kUInt8, 60});
  ASSERT_TRUE(session.getSetting(audioSetting(kVolumeName), &value));
  EXPECT_EQ(value.type, VariantType::kUInt8);
  EXPECT_EQ(value.value, 60u);
  EXPECT_FALSE(session.getSetting(audioSetting({"Volume", "Output"}), &value));
  Setting otherType = audioSetting(kVolumeName);
  otherType.mediaType = static_cast<MediaType>(1);
  EXPECT_FALSE(session.getSetting(otherType, &value));
}

TEST(SessionTest, changesReachTheRegisteredConsumersOnly) {
  Session session;
  Consumer first;
  Consumer second;
  first.session = &session;
  second.session = &session;
  session.registerSettingConsumer(&first);
  session.registerSettingConsumer(&second);
  session.setSetting(audioSetting(kVolumeName), {VariantType::kUInt8, 10});
  first.leaves = &second;  // in the middle of an announcement
  session.setSetting(audioSetting(kVolumeName), {VariantType::kUInt8, 20});
  session.unregisterSettingConsumer(&first);
  session.setSetting(audioSetting(kVolumeName), {VariantType::kUInt8, 30});
  EXPECT_EQ(first.heard, (std::vector<std::string>{"Output/Volume=10", "Output/Volume=20"}));
  EXPECT_EQ(second.heard, (std::vector<std::string>{"Output/Volume=10"}));
}

}  // namespace
