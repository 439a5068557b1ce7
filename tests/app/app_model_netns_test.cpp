#include <QCoreApplication>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "app/model/app_model.hpp"
#include "core/leases/lease_file.hpp"
#include "tests/support/network_lab.hpp"

namespace {

// Set for the copy of this program that runs inside the server's namespace.
constexpr const char* insideLabVariable = "CORVANE_INSIDE_LAB";
constexpr const char* servedCard = "lab0";

} // namespace

using namespace corvane;

// Runs inside the server's namespace, started with `ip netns exec` so that it sees the
// namespace's own sysfs: the real card listing, the real checks, a real server, and a busybox
// DHCP client at the other end of the cable.
class InsideLab : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void startFindsTheDeviceAndStops() {
        QTemporaryDir folder;
        const std::filesystem::path root = folder.path().toStdString();
        auto environment = AppModelEnvironment::forUser();
        environment.settingsPath = root / "settings.json";
        environment.leaseFilePath = root / "leases.json";
        environment.logDirectory = root / "logs";
        environment.updates = UpdateConfiguration{};
        environment.launchMinimum = std::chrono::milliseconds::zero();
        AppModel model(std::move(environment));
        model.bootstrap();
        QTRY_COMPARE_WITH_TIMEOUT(model.phase(), AppModel::Phase::ready, 10000);

        model.setShowVirtualCards(true);
        QTRY_COMPARE_WITH_TIMEOUT(model.selectedCardID(), std::optional<std::string>(servedCard),
                                  10000);
        QTRY_VERIFY_WITH_TIMEOUT(!model.isChecking() && !model.checks().empty(), 30000);
        std::string checks;
        for (const auto& check : model.checks()) {
            checks += std::string(statusSymbol(check.status)) + " " + check.message + "\n";
        }
        QVERIFY2(model.canStart(), checks.c_str());

        model.start();
        QVERIFY2(model.isRunning(), model.lastError().value_or("").c_str());
        QTRY_VERIFY_WITH_TIMEOUT(model.state().deviceFound.has_value(), 30000);
        const auto device = *model.state().deviceFound;
        QVERIFY(model.config().range().contains(device.ip));
        QVERIFY(model.nextAddress() != device.ip);

        // While serving, a forgotten lease goes through the server, which saves the change.
        model.requestForget(device.mac);
        model.confirmForgetLease();
        QTRY_VERIFY_WITH_TIMEOUT(!model.state().leases.contains(device.mac), 10000);
        model.stop();
        QVERIFY(!model.isRunning());
        QVERIFY(!LeaseFile(root / "leases.json").load(model.now()).table.lease(device.mac));
    }
};

// Builds the lab, starts the client and runs `InsideLab` in the server's namespace.
class AppModelNetnsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void servesARealClientOnAVirtualCable() {
        if (const auto reason = testing::NetworkLab::unavailableReason()) {
            QSKIP(reason->c_str());
        }
        if (QStandardPaths::findExecutable("busybox").isEmpty()) {
            QSKIP("busybox (udhcpc) is not installed.");
        }
        testing::NetworkLab lab;
        const auto server = lab.addNamespace("srv");
        const auto device = lab.addNamespace("dev");
        lab.addVethPair(server, servedCard, device, "lab1");
        lab.run(server, std::string("ip address add 192.168.0.1/24 dev ") + servedCard);
        lab.spawn(device, {"busybox", "udhcpc", "-f", "-i", "lab1", "-t", "60", "-T", "1", "-s",
                           "/bin/true"});
        const auto self = QCoreApplication::applicationFilePath().toStdString();
        const auto output = lab.output(server, std::string(insideLabVariable) + "=1 '" + self +
                                                   "' 2>&1; echo \"exit=$?\"");
        const bool passed =
            output.find("PASS   : InsideLab::startFindsTheDeviceAndStops()") != std::string::npos &&
            output.find("exit=0") != std::string::npos;
        QVERIFY2(passed, output.c_str());
    }
};

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsSet(insideLabVariable)) {
        InsideLab inside;
        return QTest::qExec(&inside, argc, argv);
    }
    AppModelNetnsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "app_model_netns_test.moc"
