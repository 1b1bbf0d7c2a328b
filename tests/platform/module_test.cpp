// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/audio/codecs/codec_module.h"
#include "platform/module.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

std::string failure(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

TEST(Module, IsLoadedFromBesideTheProgramAndAnswersByName) {
    const platform::Module module = platform::Module::load("ferrowick-codecs");
    EXPECT_NE(module.function<const media::audio::CodecModule*()>(media::audio::codecModuleEntry)(), nullptr);
    EXPECT_THAT(failure([&] { (void)module.function<void()>("noSuchEntry"); }),
                AllOf(HasSubstr("ferrowick-codecs.so"), HasSubstr("noSuchEntry")));
}

TEST(Module, OneThatIsMissingIsNamedWithThePlacesLookedIn) {
    EXPECT_THAT(failure([] { (void)platform::Module::load("ferrowick-nothing"); }),
                AllOf(HasSubstr("ferrowick-nothing.so"), HasSubstr("lib/ferrowick"),
                      HasSubstr(platform::moduleFolders().front().string())));
}

} // namespace
