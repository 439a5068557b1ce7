#include "app/gui/gui_texts.hpp"

#include <chrono>

#include "app/model/app_texts.hpp"
#include "core/config/duration_text.hpp"

namespace corvane::gui_texts {

QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

QString serving(const QString& card) {
    return QStringLiteral("Serving on %1").arg(card);
}

QString configSummary(IPv4Address serverIP, std::int64_t prefixLength, IPv4Address rangeStart,
                      IPv4Address rangeEnd, const QString& lease) {
    return QStringLiteral("Server %1/%2\nRange %3 \u2013 %4\nLease %5")
        .arg(toQString(serverIP.description()))
        .arg(prefixLength)
        .arg(toQString(rangeStart.description()), toQString(rangeEnd.description()), lease);
}

QString aboutText(const QString& version) {
    return QStringLiteral("Corvane %1\n\nA DHCP server for testing networked devices: it serves "
                          "one wired card, hands the device an address and shows everything it "
                          "says.")
        .arg(version);
}

QString updateAvailable(const QString& version) {
    return QStringLiteral("Corvane %1 is available. Install it with your package manager, or "
                          "get it from the download page.")
        .arg(version);
}

QString cardTitle(const NetworkCard& card) {
    if (card.displayName.empty() || card.displayName == card.bsdName) {
        return QString::fromStdString(card.bsdName);
    }
    return QStringLiteral("%1 (%2)").arg(QString::fromStdString(card.displayName),
                                         QString::fromStdString(card.bsdName));
}

QString cardDetail(const NetworkCard& card) {
    QString kind;
    switch (card.kind) {
    case NetworkCard::Kind::ethernet:
        kind = QStringLiteral("Wired");
        break;
    case NetworkCard::Kind::wifi:
        kind = QStringLiteral("Wi-Fi");
        break;
    case NetworkCard::Kind::bridge:
        kind = QStringLiteral("Bridge");
        break;
    case NetworkCard::Kind::other:
        kind =
            card.isVirtualEthernet ? QStringLiteral("Virtual Ethernet") : QStringLiteral("Other");
        break;
    }
    const QString link = !card.linkUp ? QStringLiteral("no link")
                         : card.media ? QString::fromStdString(*card.media)
                                      : QStringLiteral("link up");
    return QStringLiteral("%1 \u00b7 %2 \u00b7 %3")
        .arg(kind, QString::fromStdString(card.addressSummary()), link);
}

QString configureAdapterButton(const QString& service) {
    return QStringLiteral("Set Up %1\u2026").arg(service);
}

QString leaseLeft(const Lease& lease, TimePoint now) {
    if (lease.state == Lease::State::released || lease.state == Lease::State::reclaimed) {
        return toQString(leaseStateName(lease.state));
    }
    if (lease.isExpired(now)) {
        return leaseExpired;
    }
    const auto left = std::chrono::ceil<std::chrono::seconds>(lease.expiresAt - now).count();
    return QString::fromStdString(formatDuration(static_cast<std::uint32_t>(left)));
}

QString presenceWord(PresenceState state) {
    return toQString(presenceStateName(state));
}

QString stoppedInstructions(const QString& card) {
    if (card.isEmpty()) {
        return QStringLiteral("Pick the card the device is plugged into, then press Start.");
    }
    return QStringLiteral("Connect the device to %1, then press Start.").arg(card);
}

QString readyToHandOut(IPv4Address next) {
    return toQString(next.description()) + QLatin1Char(' ') + toQString(app_texts::readyToHandOut);
}

QString addressCount(std::int64_t count) {
    return count == 1 ? QStringLiteral("1 address") : QStringLiteral("%1 addresses").arg(count);
}

QString willRun(const SetupCommand& command) {
    return QString::fromStdString(app_texts::confirmation(command.line()));
}

QString runInTerminalInstead(const QString& reason, const SetupCommand& command) {
    return reason + QString::fromStdString(app_texts::terminalOffer(command.sudoLine()));
}

} // namespace corvane::gui_texts
