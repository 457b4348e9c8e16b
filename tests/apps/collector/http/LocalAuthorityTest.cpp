#include "collector/http/LocalAuthority.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "collector/http/Certificate.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara::collector {
namespace {

namespace fs = std::filesystem;
using test::contentsOf;

class LocalAuthorityTest : public testing::Test {
  protected:
    std::string refusal() const {
        try {
            const LocalAuthority authority(folder);
            return authority.isNew() ? "made a new one" : "opened it";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    void put(const std::string& certificate, const std::string& key) const {
        test::writeTo(certificateFile, certificate);
        test::writeTo(keyFile, key);
        fs::permissions(keyFile, fs::perms::owner_read | fs::perms::owner_write);
    }

    test::TemporaryDirectory directory;
    fs::path folder = directory.path() / "data" / "collector";
    fs::path certificateFile = folder / "ca.pem";
    fs::path keyFile = folder / "ca-key.pem";
};

TEST_F(LocalAuthorityTest, AuthoritySignsPrivateNamesOnly) {
    const LocalAuthority authority(folder);
    for (const char* name : {"a.localhost", "printer.local", "x.y.test", "127.1.2.3", "::1",
                             "10.0.0.1", "172.31.255.255", "192.168.1.2", "0.0.0.0"})
        EXPECT_NO_THROW((void)authority.issue({name})) << name;
    for (const char* name : {"example.com", "localhost.example.com", "notlocal", "8.8.8.8",
                             "172.32.0.1", "::2", "", "*.com", "a,DNS:example.com", "a\nb"})
        EXPECT_THROW((void)authority.issue({name}), std::runtime_error) << name;
}

TEST_F(LocalAuthorityTest, FirstProcessMakesTheAuthority) {
    std::atomic<int> made = 0;
    test::inThreads(8, [&](int) {
        const LocalAuthority authority(folder);
        if (authority.isNew()) ++made;
        EXPECT_NO_THROW((void)authority.issue({}));
    });
    EXPECT_EQ(made, 1);
    EXPECT_EQ(refusal(), "opened it");
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(keyFile).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(test::namesIn(folder), (std::set<std::string>{"ca.pem", "ca-key.pem", "lock"}));
}

TEST_F(LocalAuthorityTest, DamagedAuthorityIsReportedAndKept) {
    const Certificate own = makeAuthority("own", 3650);
    const std::string certificate = own.certificateText();
    const std::string key = own.keyText();
    const std::string server =
        makeServerCertificate(own, "server", {"localhost"}, 397).certificateText();
    const auto noCertificate =
        certificateFile.string() + ": is not the certificate of an authority";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {certificate.substr(0, 300), key, noCertificate},
        {server, key, noCertificate},
        {certificate, "", keyFile.string() + ": is not a private key"},
        {certificate, makeAuthority("another", 3650).keyText(),
         keyFile.string() + ": does not belong to"},
    };
    for (const auto& [first, second, reason] : cases) {
        put(first, second);
        EXPECT_THAT(refusal(), testing::StartsWith(reason));
        EXPECT_EQ(contentsOf(certificateFile) + contentsOf(keyFile), first + second);
    }
    put(certificate, key);
    EXPECT_EQ(refusal(), "opened it");
    fs::permissions(keyFile, fs::perms::others_read, fs::perm_options::add);
    EXPECT_THAT(refusal(), testing::StartsWith(keyFile.string() + ": can be read by others"));
    fs::rename(keyFile, folder / "elsewhere.pem");
    EXPECT_THAT(refusal(), testing::StartsWith(keyFile.string() + ": is missing"));
    fs::create_symlink(folder / "elsewhere.pem", keyFile);
    EXPECT_EQ(refusal(), keyFile.string() + ": is a symbolic link");
}

TEST_F(LocalAuthorityTest, ExpiringAuthorityIsReplaced) {
    for (const int days : {399, 398}) {
        const Certificate own = makeAuthority("old", days);
        put(own.certificateText(), own.keyText());
        EXPECT_EQ(refusal(), days > 398 ? "opened it" : "made a new one");
    }
    // A key without a certificate, as after a kill.
    fs::remove(certificateFile);
    EXPECT_EQ(refusal(), "made a new one");
}

}  // namespace
}  // namespace zentara::collector
