#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

#include "app/model/app_model.hpp"
#include "core/leases/lease_file.hpp"
#include "tests/app/app_test_support.hpp"
#include "tests/support/dhcp_client_cable.hpp"

namespace {

// Set for the copy of this program that runs inside the server's namespace.
constexpr const char* insideLabVariable = "CORVANE_INSIDE_LAB";
constexpr const char* servedCard = "lab0";

} // namespace

using namespace corvane;

// Inside the server's namespace: the real card listing, the real checks, a real server, and
// a busybox DHCP client at the other end of the cable.
class InsideLab : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void startFindsTheDeviceAndStops() {
        QTemporaryDir folder;
        AppModel model(testing::userEnvironment(folder));
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
        const LeaseFile file(folder.path().toStdString() + "/leases.json");
        QVERIFY(!file.load(model.now()).table.lease(device.mac));
    }
};

class AppModelNetnsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void servesARealClientOnAVirtualCable() {
        if (const auto reason = testing::DHCPClientCable::unavailableReason()) {
            QSKIP(reason->c_str());
        }
        const auto output =
            testing::DHCPClientCable(servedCard).runThisProgramInside(insideLabVariable);
        QVERIFY2(testing::passedInsideLab(output), output.c_str());
    }
};

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    return testing::execOutsideOrInsideLab<AppModelNetnsTest, InsideLab>(insideLabVariable, argc,
                                                                         argv);
}

#include "app_model_netns_test.moc"
