#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sodium.h>

#include "app/model/feed_signature.hpp"
#include "app/model/update_controller.hpp"
#include "app/model/update_error_text.hpp"
#include "app/model/update_texts.hpp"

namespace corvane {
namespace {

using Lines = std::vector<std::string>;

QByteArray appcast(const QByteArray& version) {
    return R"(<?xml version="1.0"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><title>Corvane</title>
<item><title>Corvane )" +
           version + R"(</title><link>https://example.invalid/corvane/)" + version +
           R"(</link>
<enclosure url="https://example.invalid/corvane.tar.gz" sparkle:version=")" +
           version +
           R"(" length="1" type="application/octet-stream"/></item>
<item><title>Old</title><sparkle:version>0.5</sparkle:version><link>https://example.invalid/old</link></item>
</channel></rss>)";
}

// An Ed25519 key pair made for one test run.
struct SigningKey {
    SigningKey() {
        QVERIFY(sodium_init() >= 0);
        crypto_sign_keypair(reinterpret_cast<unsigned char*>(publicKey.data()),
                            reinterpret_cast<unsigned char*>(secretKey.data()));
    }
    std::string publicBase64() const { return publicKey.toBase64().toStdString(); }
    QByteArray sign(const QByteArray& document) const {
        return FeedSignature::sign(document, secretKey);
    }

    QByteArray publicKey = QByteArray(crypto_sign_PUBLICKEYBYTES, '\0');
    QByteArray secretKey = QByteArray(crypto_sign_SECRETKEYBYTES, '\0');
};

const SigningKey& buildKey() {
    static const SigningKey key;
    return key;
}

// An HTTP server on 127.0.0.1 that answers every request with the same feed, and counts.
class FeedServer {
public:
    FeedServer() {
        server_.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server_, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket,
                                 [this, socket] { answer(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    std::string url() const {
        return "http://127.0.0.1:" + std::to_string(server_.serverPort()) + "/appcast.xml";
    }

    int requests = 0;
    QByteArray status = "200 OK";
    QByteArray body = buildKey().sign(appcast("1.10.0"));

private:
    void answer(QTcpSocket* socket) {
        if (!socket->peek(socket->bytesAvailable()).contains("\r\n\r\n")) {
            return;
        }
        socket->readAll();
        ++requests;
        socket->write("HTTP/1.1 " + status + "\r\nContent-Type: application/rss+xml\r\n" +
                      "Content-Length: " + QByteArray::number(body.size()) +
                      "\r\nConnection: close\r\n\r\n" + body);
        socket->disconnectFromHost();
    }

    QTcpServer server_;
};

} // namespace
} // namespace corvane

using namespace corvane;

class UpdateControllerTest : public QObject {
    Q_OBJECT

    FeedServer* feed = nullptr;
    bool serverRunning = false;
    Lines lines;
    std::optional<std::string> feedOverride;

    std::unique_ptr<UpdateController> makeController(bool automaticChecks = true,
                                                     bool buildFeed = true) {
        UpdateConfiguration configuration;
        if (buildFeed) {
            configuration.feedURL = feed->url();
            configuration.publicKey = buildKey().publicBase64();
        }
        // Numbers, not text: 1.10.0 is newer than 1.9.0, and 1.9 is the same as 1.9.0.
        configuration.currentVersion = "1.9.0";
        configuration.automaticChecks = automaticChecks;
        configuration.firstCheckDelay = std::chrono::hours{1};
        configuration.transferTimeLimit = std::chrono::seconds{10};
        auto controller = std::make_unique<UpdateController>(
            configuration, [this] { return serverRunning; },
            [this](const std::string& text) { lines.push_back(text); },
            [this] { return feedOverride; }, "/home/tester/.config/corvane/settings.json");
        controller->start();
        return controller;
    }

    static void waitForCheck(UpdateController& controller) {
        QSignalSpy finished(&controller, &UpdateController::checkFinished);
        QVERIFY(finished.wait(10000));
    }

private Q_SLOTS:
    void init() {
        feed = new FeedServer;
        serverRunning = false;
        lines.clear();
        feedOverride.reset();
    }
    void cleanup() { delete feed; }

    void errorTextAddsTheDeepestSpecificCause() {
        const std::string generic = "The operation couldn't be completed.";
        const struct {
            const char* name;
            Lines chain;
            std::string expected;
        } cases[] = {
            {"no cause", {"Top."}, "Top."},
            {"only a generic cause", {"Top.", generic}, "Top."},
            {"deepest specific cause wins", {"Top.", "Middle.", "Deep.", generic}, "Top. (Deep.)"},
            {"cause equal to the top", {"Same.", "Same."}, "Same."},
        };
        for (const auto& entry : cases) {
            UpdateError error{"domain", 1, entry.chain.front(), nullptr};
            for (std::size_t index = 1; index < entry.chain.size(); ++index) {
                error = error.causedBy(UpdateError{"domain", 2, entry.chain[index], nullptr});
            }
            QVERIFY2(UpdateErrorText::describe(error) == entry.expected, entry.name);
        }
    }

    void backgroundCheckWaitsForTheServerToStop_data() {
        QTest::addColumn<bool>("automaticChecks");
        QTest::addColumn<int>("checksAfterStop");
        QTest::newRow("automatic checks on") << true << 1;
        QTest::newRow("automatic checks off") << false << 0;
    }
    void backgroundCheckWaitsForTheServerToStop() {
        QFETCH(bool, automaticChecks);
        QFETCH(int, checksAfterStop);
        auto controller = makeController(automaticChecks);
        serverRunning = true;
        controller->checkInBackground();
        controller->checkInBackground();
        QCOMPARE(lines, Lines{std::string(update_texts::checkDeferred)});
        QVERIFY(controller->checkOwed());
        QCOMPARE(feed->requests, 0);

        serverRunning = false;
        controller->serverStopped();
        QVERIFY(!controller->checkOwed());
        if (checksAfterStop > 0) {
            waitForCheck(*controller);
        }
        controller->serverStopped();
        QVERIFY(controller->canCheckForUpdates());
        QCOMPARE(feed->requests, checksAfterStop);
    }

    void userCheckRunsWhileServing() {
        auto controller = makeController();
        QSignalSpy available(controller.get(), &UpdateController::updateAvailable);
        serverRunning = true;
        controller->checkForUpdates();
        waitForCheck(*controller);
        QCOMPARE(feed->requests, 1);
        QCOMPARE(available.count(), 1);
        QCOMPARE(lines, Lines{update_texts::updateAvailable(
                            "1.10.0", "https://example.invalid/corvane/1.10.0")});
    }

    void failedChecksAreLoggedAndQuietOutcomesAreNot_data() {
        QTest::addColumn<QByteArray>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("cancel");
        QTest::addColumn<QString>("logged");
        const auto& key = buildKey();
        const SigningKey otherKey;
        const QByteArray ok("200 OK");
        const QString failed("check failed: ");
        QTest::newRow("missing feed") << QByteArray("404 Not Found") << QByteArray("gone") << false
                                      << failed + "The update feed could not be downloaded. (";
        QTest::newRow("not a feed") << ok << key.sign("<html><body>") << false
                                    << failed + "The update feed could not be read. (";
        QTest::newRow("unsigned feed") << ok << appcast("2.0") << false
                                       << failed + update_texts::unsignedFeedDescription.data();
        QTest::newRow("signed with another key")
            << ok << otherKey.sign(appcast("2.0")) << false
            << failed + update_texts::badSignatureDescription.data();
        auto altered = key.sign(appcast("1.9"));
        altered.replace("1.9", "9.9");
        QTest::newRow("altered after signing")
            << ok << altered << false << failed + update_texts::badSignatureDescription.data();
        QTest::newRow("an item added after the signature")
            << ok
            << key.sign(appcast("1.9")) + "<item><sparkle:version>9.9</sparkle:version></item>"
            << false << failed + update_texts::badSignatureDescription.data();
        QTest::newRow("nothing new") << ok << key.sign(appcast("1.9")) << false << "";
        QTest::newRow("cancelled") << ok << key.sign(appcast("2.0")) << true << "";
    }
    void failedChecksAreLoggedAndQuietOutcomesAreNot() {
        QFETCH(QByteArray, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, cancel);
        QFETCH(QString, logged);
        feed->status = status;
        feed->body = body;
        auto controller = makeController();
        controller->checkForUpdates();
        if (cancel) {
            controller->cancelCheck();
        } else {
            waitForCheck(*controller);
        }
        if (logged.isEmpty()) {
            QCOMPARE(lines, Lines{});
        } else {
            QCOMPARE(lines.size(), std::size_t{1});
            QVERIFY2(QString::fromStdString(lines[0]).startsWith(logged), lines[0].c_str());
        }
    }

    // No key, no updates: a test feed in the settings only moves a verified feed elsewhere.
    void testFeedReplacesTheBuiltInFeedOnlyWithAKey() {
        feedOverride = feed->url();
        auto keyless = makeController(true, false);
        QVERIFY(!keyless->isConfigured());
        QVERIFY(!keyless->canCheckForUpdates());
        keyless->checkForUpdates();
        keyless->checkInBackground();
        QCOMPARE(feed->requests, 0);

        FeedServer testFeed;
        feedOverride = testFeed.url();
        auto controller = makeController();
        controller->checkForUpdates();
        waitForCheck(*controller);
        controller->checkForUpdates();
        waitForCheck(*controller);
        QCOMPARE(testFeed.requests, 2);
        QCOMPARE(feed->requests, 0);
        QCOMPARE(std::count(lines.begin(), lines.end(),
                            update_texts::usingTestFeed(
                                testFeed.url(), "/home/tester/.config/corvane/settings.json",
                                "updateFeedOverride")),
                 1);
    }
};

QTEST_GUILESS_MAIN(UpdateControllerTest)
#include "update_controller_test.moc"
