// The updater's HTTPS client against a loopback TLS server whose certificate is made for
// the test and trusted only through the fetcher's configuration: what a hostile or broken
// server can do, and what the client does about it.
#include "updater/HttpsFetcher.h"
#include "tests/services/LoopbackHttps.h"
#include "tests/support/Pump.h"

#include <QSslSocket>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using hopla::FetchLimits;
using hopla::FetchResult;
using hopla::testing::LoopbackHttps;

struct HttpsFetcherTest : ::testing::Test {
    hopla::testing::TestAuthority authority;
    LoopbackHttps server{authority};

    void SetUp() override {
        ASSERT_EQ(authority.error, QString());
        const QByteArray port = QByteArray::number(server.port());
        server.route("/ok", LoopbackHttps::answer("200 OK", "hello"));
        server.route("/500", LoopbackHttps::answer("500 Broken"));
        server.route("/redirect-in",
                     LoopbackHttps::answer("302 Found", {},
                                           "Location: https://localhost:" + port + "/ok\r\n"));
        server.route("/redirect-out",
                     LoopbackHttps::answer("302 Found", {},
                                           "Location: https://127.0.0.1:" + port + "/ok\r\n"));
        server.route("/big", LoopbackHttps::answer("200 OK", QByteArray(100000, 'x')));
        QByteArray chunked;
        for (int i = 0; i < 100; ++i) {
            chunked += "3e8\r\n" + QByteArray(1000, 'x') + "\r\n";
        }
        server.route("/big-unannounced", LoopbackHttps::answer("200 OK", chunked + "0\r\n\r\n",
                                                               "Transfer-Encoding: chunked\r\n"));
        server.route("/trickle", [](QSslSocket& socket) {
            socket.write("HTTP/1.1 200 OK\r\nContent-Length: 5000\r\n\r\n");
            auto* drip = new QTimer(&socket);
            QObject::connect(drip, &QTimer::timeout, &socket,
                             [&socket] { socket.write("xxxxxxxxxx"); });
            drip->start(50);
        });
    }

    FetchResult fetch(hopla::HttpsFetcher& fetcher, const char* path, FetchLimits limits = {}) {
        if (limits.allowedHosts.isEmpty()) {
            limits.allowedHosts = {"localhost"};
        }
        std::optional<FetchResult> result;
        fetcher.get(server.url(path), limits, [&](FetchResult r) { result = std::move(r); });
        EXPECT_TRUE(hopla::testing::waitUntil([&] { return result.has_value(); }, 20s)) << path;
        return result.value_or(FetchResult{});
    }
};

TEST_F(HttpsFetcherTest, OnlyAVerifiedAllowedAnswerOfTwoHundredBringsABody) {
    hopla::HttpsFetcher fetcher(authority.trusting());
    EXPECT_EQ(fetch(fetcher, "/ok").body, QByteArray("hello"));
    EXPECT_EQ(fetch(fetcher, "/redirect-in").body, QByteArray("hello"));
    for (const auto& [path, said] : {std::pair{"/404", "404"}, std::pair{"/500", "500"},
                                     std::pair{"/redirect-out", "127.0.0.1"}}) {
        const FetchResult result = fetch(fetcher, path);
        EXPECT_FALSE(result.body) << path;
        EXPECT_TRUE(result.error.contains(said)) << result.error.toStdString();
    }
    EXPECT_FALSE(fetch(fetcher, "/ok", {.allowedHosts = {"get.hopla.test"}}).body)
        << "the first hop is checked too";

    hopla::HttpsFetcher untrusting; // the system's authorities only
    const FetchResult refused = fetch(untrusting, "/ok");
    EXPECT_FALSE(refused.body);
    EXPECT_TRUE(refused.error.contains("SSL")) << refused.error.toStdString();
}

TEST_F(HttpsFetcherTest, OversizedAndTricklingAnswersAreCutOff) {
    hopla::HttpsFetcher fetcher(authority.trusting());
    for (const char* path : {"/big", "/big-unannounced"}) {
        const FetchResult result = fetch(fetcher, path);
        EXPECT_FALSE(result.body) << path;
        EXPECT_TRUE(result.error.contains("65536")) << result.error.toStdString();
    }
    const FetchResult trickle =
        fetch(fetcher, "/trickle", {.timeout = 0ms, .progressWindow = 400ms});
    EXPECT_FALSE(trickle.body);
    EXPECT_TRUE(trickle.error.contains("too slow")) << trickle.error.toStdString();
    EXPECT_TRUE(fetch(fetcher, "/trickle", {.timeout = 500ms, .progressWindow = 60s})
                    .error.contains("within"));
}

} // namespace
