#include <QApplication>
#include <QCheckBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include "app/gui/card_picker.hpp"
#include "app/gui/dashboard_window.hpp"
#include "app/gui/device_panel.hpp"
#include "app/gui/launch_screen.hpp"
#include "app/model/app_model.hpp"
#include "core/leases/lease_file.hpp"
#include "tests/app/app_test_support.hpp"
#include "tests/support/dhcp_client_cable.hpp"

namespace {

// Set for the copy of this program that runs inside the server's namespace.
constexpr const char* insideLabVariable = "CORVANE_GUI_INSIDE_LAB";
constexpr const char* servedCard = "gui0";

} // namespace

using namespace corvane;

// Inside the server's namespace: the real window over the real model, used the way a person
// would, with a busybox DHCP client at the other end of the cable.
class InsideLab : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aVirtualCardServesTheDeviceAndStops() {
        QTemporaryDir folder;
        AppModel model(testing::userEnvironment(folder));
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

        // While serving, a forgotten lease goes through the server, which saves the change.
        model.requestForget(device->mac);
        model.confirmForgetLease();
        QTRY_VERIFY_WITH_TIMEOUT(!model.state().leases.contains(device->mac), 10000);
        window.stopButton().click();
        QVERIFY(!model.isRunning());
        QVERIFY(!window.stopButton().isEnabled());
        QVERIFY(window.cardPicker().isEnabled());
        const LeaseFile file(folder.path().toStdString() + "/leases.json");
        QVERIFY(!file.load(model.now()).table.lease(device->mac));
    }
};

class GuiSmokeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void servesARealClientThroughTheWindow() {
        if (const auto reason = testing::DHCPClientCable::unavailableReason()) {
            QSKIP(reason->c_str());
        }
        const auto output =
            testing::DHCPClientCable(servedCard).runThisProgramInside(insideLabVariable);
        QVERIFY2(output.find(", 0 failed, 0 skipped") != std::string::npos &&
                     output.find("exit=0") != std::string::npos,
                 output.c_str());
    }
};

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (qEnvironmentVariableIsSet(insideLabVariable)) {
        InsideLab inside;
        return QTest::qExec(&inside, argc, argv);
    }
    GuiSmokeTest outside;
    return QTest::qExec(&outside, argc, argv);
}

#include "gui_smoke_test.moc"
