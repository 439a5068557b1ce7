#include "app/gui/gui_texts.hpp"

#include <QDateTime>
#include <QStringList>
#include <chrono>

#include "app/model/app_texts.hpp"
#include "core/config/duration_text.hpp"

namespace corvane::gui_texts {

QString toQString(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

QString version(const QString& number) {
    return number.isEmpty() ? QString() : QStringLiteral("Version %1").arg(number);
}

QString headerState(bool serving, bool checking) {
    if (serving) {
        return QStringLiteral("Serving");
    }
    return checking ? QStringLiteral("Checking\u2026") : QStringLiteral("Stopped");
}

QString headerDetail(const QString& card, bool cardHasLink,
                     std::optional<std::chrono::seconds> servingFor,
                     std::optional<IPv4Address> nextAddress) {
    if (card.isEmpty()) {
        return QStringLiteral("No card chosen");
    }
    QStringList parts{servingFor ? QStringLiteral("on %1").arg(card) : card};
    if (!cardHasLink) {
        parts << QStringLiteral("no link");
    }
    if (servingFor) {
        parts << QStringLiteral("for %1").arg(elapsed(*servingFor));
    }
    if (nextAddress) {
        parts << QStringLiteral("next device gets %1").arg(toQString(nextAddress->description()));
    }
    return parts.join(QStringLiteral(" \u00b7 "));
}

QString elapsed(std::chrono::seconds duration) {
    const auto seconds = duration.count();
    if (seconds < 60) {
        return QStringLiteral("%1 s").arg(seconds);
    }
    if (seconds < 3600) {
        return QStringLiteral("%1 min %2 s")
            .arg(seconds / 60)
            .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    }
    return QStringLiteral("%1 h %2 min")
        .arg(seconds / 3600)
        .arg(seconds % 3600 / 60, 2, 10, QLatin1Char('0'));
}

QString fixChecksToStart(int failing) {
    return failing == 1 ? QStringLiteral("Fix 1 check to start")
                        : QStringLiteral("Fix %1 checks to start").arg(failing);
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

QString cardName(const NetworkCard& card) {
    if (card.displayName.empty() || card.displayName == card.bsdName) {
        return QString::fromStdString(card.bsdName);
    }
    return QStringLiteral("%1 (%2)").arg(QString::fromStdString(card.displayName),
                                         QString::fromStdString(card.bsdName));
}

QString cardTitle(const NetworkCard& card) {
    return card.linkUp ? cardName(card) : QStringLiteral("%1 \u2014 no link").arg(cardName(card));
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

QString lastSeen(TimePoint when) {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(when.time_since_epoch()).count();
    return QDateTime::fromSecsSinceEpoch(seconds).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
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
    // The command itself: the terminal is where the user decides how to gain the rights.
    return reason + QString::fromStdString(app_texts::terminalOffer(command.line()));
}

} // namespace corvane::gui_texts
