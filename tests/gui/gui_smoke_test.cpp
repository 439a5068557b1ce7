#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include "app/gui/card_picker.hpp"
#include "app/gui/dashboard_window.hpp"
#include "app/gui/device_panel.hpp"
#include "app/gui/launch_screen.hpp"
#include "app/model/app_model.hpp"
#include "tests/support/network_lab.hpp"

namespace {

// Set for the copy of this program that runs inside the server's namespace.
constexpr const char* insideLabVariable = "CORVANE_GUI_INSIDE_LAB";
constexpr const char* servedCard = "gui0";

} // namespace

using namespace corvane;

// Runs inside the server's namespace, started with `ip netns exec` so that it sees the
// namespace's own sysfs: the real window over the real model, used the way a person would,
// with a busybox DHCP client at the other end of the cable.
class InsideLab : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aVirtualCardServesTheDeviceAndStops() {
        QTemporaryDir folder;
        const std::filesystem::path root = folder.path().toStdString();
        auto environment = AppModelEnvironment::forUser();
        environment.settingsPath = root / "settings.json";
        environment.leaseFilePath = root / "leases.json";
        environment.logDirectory = root / "logs";
        environment.updates = UpdateConfiguration{};
        AppModel model(std::move(environment));
        DashboardWindow window(model);
        window.show();
        model.bootstrap();
        QTRY_VERIFY_WITH_TIMEOUT(!window.launchScreen().isVisible(), 10000);

        auto* virtualCards =
            window.cardPicker().findChild<QCheckBox*>(QStringLiteral("showVirtualCards"));
        QVERIFY(!virtualCards->isChecked());
        QVERIFY(!window.cardPicker().cardIDs().contains(servedCard));
        virtualCards->click();
        QTRY_VERIFY_WITH_TIMEOUT(window.cardPicker().cardIDs().contains(servedCard), 10000);
        QVERIFY(window.cardPicker().choose(servedCard));
        QTRY_VERIFY_WITH_TIMEOUT(window.startButton().isEnabled(), 30000);

        window.startButton().click();
        QTRY_VERIFY_WITH_TIMEOUT(window.showsDevicePanel(), 30000);
        const auto device = model.state().deviceFound;
        QVERIFY(device);
        QCOMPARE(window.devicePanel().addressText(),
                 QString::fromStdString(device->ip.description()));
        QCOMPARE(window.devicePanel().macText(), QString::fromStdString(device->mac.description()));
        QVERIFY(model.config().range().contains(device->ip));

        QVERIFY(window.stopButton().isEnabled());
        window.stopButton().click();
        QVERIFY(!model.isRunning());
        QVERIFY(!window.stopButton().isEnabled());
        QVERIFY(window.cardPicker().isEnabled());
    }
};

// Builds the lab, starts the client and runs `InsideLab` in the server's namespace.
class GuiSmokeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void servesARealClientThroughTheWindow() {
        if (const auto reason = testing::NetworkLab::unavailableReason()) {
            QSKIP(reason->c_str());
        }
        if (QStandardPaths::findExecutable(QStringLiteral("busybox")).isEmpty()) {
            QSKIP("busybox (udhcpc) is not installed.");
        }
        testing::NetworkLab lab;
        const auto server = lab.addNamespace("gui");
        const auto device = lab.addNamespace("guidev");
        lab.addVethPair(server, servedCard, device, "guidev0");
        lab.run(server, std::string("ip address add 192.168.0.1/24 dev ") + servedCard);
        lab.spawn(device, {"busybox", "udhcpc", "-f", "-i", "guidev0", "-t", "60", "-T", "1", "-s",
                           "/bin/true"});
        const auto self = QCoreApplication::applicationFilePath().toStdString();
        const auto output = lab.output(server, std::string(insideLabVariable) + "=1 '" + self +
                                                   "' 2>&1; echo \"exit=$?\"");
        QVERIFY2(output.find("exit=0") != std::string::npos, output.c_str());
    }
};

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (qEnvironmentVariableIsSet(insideLabVariable)) {
        InsideLab inside;
        return QTest::qExec(&inside, argc, argv);
    }
    GuiSmokeTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "gui_smoke_test.moc"
