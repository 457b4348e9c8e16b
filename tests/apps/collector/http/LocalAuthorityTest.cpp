#include "collector/http/LocalAuthority.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <openssl/pem.h>

#include <filesystem>
#include <thread>

#include "apps/collector/http/ScriptedHandler.h"
#include "collector/http/Certificate.h"
#include "collector/http/HttpServer.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

namespace zentara::collector {
namespace {

namespace fs = std::filesystem;
using test::contentsOf;
using testing::HasSubstr;

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

    test::TemporaryDirectory directory;
    fs::path folder = directory.path() / "data" / "collector";
    fs::path certificateFile = folder / "ca.pem";
    fs::path keyFile = folder / "ca-key.pem";
};

/// What comes back over HTTPS, or why nothing does.
struct Fetched {
    CURLcode result = CURLE_FAILED_INIT;
    std::string body;
};

Fetched fetch(const std::string& url, const std::string& trusted) {
    Fetched fetched;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                   curl_easy_cleanup);
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_CAINFO, trusted.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, "sent");
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, static_cast<long>(test::generousTimeout.count()));
    const curl_write_callback write = [](char* bytes, size_t, size_t count, void* body) {
        static_cast<std::string*>(body)->append(bytes, count);
        return count;
    };
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, write);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &fetched.body);
    fetched.result = curl_easy_perform(curl.get());
    return fetched;
}

TEST_F(LocalAuthorityTest, ClientsThatTrustItTrustTheServer) {
    const LocalAuthority authority(folder);
    EXPECT_TRUE(authority.isNew());
    ScriptedHandler handler;
    handler.script = [](const auto& exchange) {
        EXPECT_TRUE(exchange->request().secure);
        exchange->deliver(ScriptedHandler::saying(
            exchange->request().body,
            exchange->request().path == "/truncated" ? Manner::truncated : Manner::whole));
    };
    HttpServer server(handler);
    const std::string port = std::to_string(
        server.listen("127.0.0.1", 0, authority.issue({"collector.test", "127.0.0.9"})));
    for (const char* host : {"localhost", "127.0.0.1"}) {
        const Fetched fetched =
            fetch("https://" + std::string(host) + ":" + port + "/", authority.certificateFile());
        EXPECT_EQ(fetched.result, CURLE_OK) << curl_easy_strerror(fetched.result);
        EXPECT_EQ(fetched.body, "sent");
    }
    EXPECT_NE(fetch("https://localhost:" + port + "/truncated", authority.certificateFile()).result,
              CURLE_OK);

    folder = directory.path() / "other";
    const LocalAuthority other(folder);
    EXPECT_EQ(fetch("https://localhost:" + port + "/", other.certificateFile()).result,
              CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_NE(fetch("http://localhost:" + port + "/", {}).result, CURLE_OK);
}

TEST_F(LocalAuthorityTest, ItVouchesForPrivateNamesOnly) {
    const LocalAuthority authority(folder);
    for (const char* name : {"a.localhost", "printer.local", "x.y.test", "127.1.2.3", "::1",
                             "10.0.0.1", "172.31.255.255", "192.168.1.2", "0.0.0.0"}) {
        EXPECT_NO_THROW((void)authority.issue({name})) << name;
    }
    for (const char* name : {"example.com", "localhost.example.com", "notlocal", "8.8.8.8",
                             "172.32.0.1", "::2", "", "*.com", "a,DNS:example.com", "a\nb"}) {
        EXPECT_THROW((void)authority.issue({name}), std::runtime_error) << name;
    }
}

TEST_F(LocalAuthorityTest, ItIsKeptForItsUserOnly) {
    std::string text;
    {
        const LocalAuthority authority(folder);
        EXPECT_EQ(authority.certificateFile(), certificateFile);
        text = contentsOf(certificateFile);
    }
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(keyFile).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(test::namesIn(folder), (std::set<std::string>{"ca.pem", "ca-key.pem", "lock"}));

    EXPECT_EQ(refusal(), "opened it");
    EXPECT_EQ(contentsOf(certificateFile), text);
}

TEST_F(LocalAuthorityTest, TheFirstOfManyMakesItForAll) {
    std::atomic<int> made = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&] {
            const LocalAuthority authority(folder);
            if (authority.isNew()) ++made;
            EXPECT_NO_THROW((void)authority.issue({}));
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(made, 1);
}

TEST_F(LocalAuthorityTest, ADamagedOneIsReportedAndLeftAlone) {
    ASSERT_EQ(refusal(), "made a new one");
    const std::string certificate = contentsOf(certificateFile);
    const std::string key = contentsOf(keyFile);
    const auto refusedNaming = [&](const fs::path& file, const char* reason) {
        const std::string left = contentsOf(certificateFile) + contentsOf(keyFile);
        EXPECT_THAT(refusal(), testing::StartsWith(file.string() + ": " + reason));
        EXPECT_EQ(contentsOf(certificateFile) + contentsOf(keyFile), left);
        test::writeTo(certificateFile, certificate);
        test::writeTo(keyFile, key);
        fs::permissions(keyFile, fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_EQ(refusal(), "opened it");
    };
    test::writeTo(certificateFile, certificate.substr(0, certificate.size() / 2));
    refusedNaming(certificateFile, "is not the certificate of an authority");

    const Certificate own{readCertificate(certificate), readKey(key)};
    test::writeTo(certificateFile,
                  makeServerCertificate(own, "server", {"localhost"}, 397).certificateText());
    refusedNaming(certificateFile, "is not the certificate of an authority");

    test::writeTo(keyFile, "");
    refusedNaming(keyFile, "is not a private key");

    test::writeTo(keyFile, makeAuthority("another", 3650).keyText());
    refusedNaming(keyFile, "does not belong to");

    fs::permissions(keyFile, fs::perms::others_read, fs::perm_options::add);
    refusedNaming(keyFile, "can be read by others");

    fs::remove(keyFile);
    refusedNaming(keyFile, "is missing");

    fs::rename(keyFile, folder / "elsewhere.pem");
    fs::create_symlink(folder / "elsewhere.pem", keyFile);
    EXPECT_EQ(refusal(), keyFile.string() + ": is a symbolic link");
}

TEST_F(LocalAuthorityTest, OneThatEndsBeforeItsCertificatesIsReplaced) {
    const auto put = [this](int days) {
        const Certificate own = makeAuthority("old", days);
        test::writeTo(certificateFile, own.certificateText());
        test::writeTo(keyFile, own.keyText());
        fs::permissions(keyFile, fs::perms::owner_read | fs::perms::owner_write);
    };
    put(399);
    EXPECT_EQ(refusal(), "opened it");
    put(398);
    EXPECT_EQ(refusal(), "made a new one");
    EXPECT_EQ(refusal(), "opened it");

    // Stopped on the way to it: a key alone is of no use to anybody.
    fs::remove(certificateFile);
    EXPECT_EQ(refusal(), "made a new one");
}

}  // namespace
}  // namespace zentara::collector
