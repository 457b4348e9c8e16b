#include <gtest/gtest.h>

#include <cerrno>

#include "identity/ConsentFile.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

TEST(ConsentFileTest, OnlyAMissingFileIsGranted) {
    const TestHost host;
    FaultyDisk disk;
    const ConsentFile file(disk);
    EXPECT_EQ(*file.load(), Consent::granted);
    for (const auto consent : {Consent::granted, Consent::pending, Consent::denied}) {
        writeTo(host.file("zentara-consent"), std::string(consentName(consent)));
        EXPECT_EQ(*file.load(), consent);
    }
    for (const auto* const text : {"", "grante", "granted\n"}) {
        writeTo(host.file("zentara-consent"), text);
        EXPECT_FALSE(file.load().ok()) << text;
    }
    writeTo(host.file("zentara-consent"), "granted");
    disk.fail({{{DiskCall::read}, EMFILE}});
    EXPECT_FALSE(file.load().ok());
    disk.fail({});
    std::filesystem::remove(host.file("zentara-consent"));
    std::filesystem::create_directory(host.file("zentara-consent"));
    EXPECT_FALSE(file.load().ok());
}

TEST(ConsentFileTest, SavedConsentIsOnTheDevice) {
    const TestHost host;
    FaultyDisk disk;
    const ConsentFile file(disk);
    std::vector<DiskCall> calls;
    disk.watch([&](const DiskStep& step) { calls.push_back(step.call); });
    ASSERT_TRUE(file.save(Consent::denied).ok());
    EXPECT_EQ(calls, (std::vector{DiskCall::open, DiskCall::write, DiskCall::flush,
                                  DiskCall::rename, DiskCall::flushFolder}));
}

}  // namespace
}  // namespace zentara
