#pragma once

#include <QString>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "core/address/ipv4_address.hpp"
#include "core/host/network_card.hpp"
#include "core/host/setup_command.hpp"
#include "core/leases/lease.hpp"
#include "core/presence/presence_state.hpp"

// Capitalisation: menu items and window titles in Title Case, buttons and everything else
// in sentence case, as the system's own button texts ("Copy tcpdump command") are.
//
// Every text only the screens show, in one place, so that the screenshots, the smoke test and
// the program read the same words. Texts the model or the core owns (check messages, notices,
// the settings form's messages, confirmations, the waiting hint) are shown from their homes.
namespace corvane::gui_texts {

QString toQString(std::string_view text);

inline const QString applicationName = QStringLiteral("Corvane");
inline const QString tagline = QStringLiteral("A DHCP server for the device on your desk");
QString version(const QString& number);
inline const QString launching = QStringLiteral("Looking for network cards\u2026");

// The dashboard.
inline const QString cardHeading = QStringLiteral("Network card");
inline const QString checksHeading = QStringLiteral("Before you start");
inline const QString leasesHeading = QStringLiteral("Leases");
inline const QString configHeading = QStringLiteral("Server settings");
inline const QString logHeading = QStringLiteral("Live log");
inline const QString timelineHint =
    QStringLiteral("Select a lease to see that device's exchanges of this run.");
inline QString timelineTitle(const QString& mac) {
    return QStringLiteral("Exchanges of %1 in this run").arg(mac);
}
inline const QString timelineEmpty = QStringLiteral("No exchanges with this device in this run.");
inline const QString saveCaptureAction = QStringLiteral("Save Capture\u2026");
inline const QString saveCaptureTitle = QStringLiteral("Save the run's DHCP packets");
inline const QString captureFileFilter = QStringLiteral("Packet captures (*.pcap)");
inline const QString start = QStringLiteral("Start");
inline const QString stop = QStringLiteral("Stop");
inline const QString settingsButton = QStringLiteral("Settings\u2026");
// The status header: "Serving", "Stopped" or "Checking…", then what goes with it.
QString headerState(bool serving, bool checking);
QString headerDetail(const QString& card, bool cardHasLink,
                     std::optional<std::chrono::seconds> servingFor,
                     std::optional<IPv4Address> nextAddress);
// "4 s", "3 min 05 s", "2 h 07 min".
QString elapsed(std::chrono::seconds duration);
// Under a disabled Start: why it is disabled.
QString fixChecksToStart(int failing);
inline const QString chooseCardToStart = QStringLiteral("Choose a card to start");
inline const QString waitForChecksToStart =
    QStringLiteral("Start is enabled once the checks finish");
QString configSummary(IPv4Address serverIP, std::int64_t prefixLength, IPv4Address rangeStart,
                      IPv4Address rangeEnd, const QString& lease);

// Menus.
inline const QString fileMenu = QStringLiteral("&File");
inline const QString cardMenu = QStringLiteral("&Card");
inline const QString helpMenu = QStringLiteral("&Help");
inline const QString settingsAction = QStringLiteral("&Settings\u2026");
inline const QString openLogFolderAction = QStringLiteral("Open &Log Folder");
inline const QString quitAction = QStringLiteral("&Quit");
// One name for the action wherever it is offered: the Card menu and the checklist's button.
inline const QString configureCardAction = QStringLiteral("&Give Card the Server Address\u2026");
inline const QString configureCardButton = QStringLiteral("Give card the server address\u2026");
inline const QString restoreDHCPAction = QStringLiteral("Set Card Back to &DHCP\u2026");
inline const QString checkForUpdates = QStringLiteral("Check for &Updates\u2026");
inline const QString updatesNotSetUp =
    QStringLiteral("This build has no update feed. Install updates with your package manager.");
inline const QString aboutAction = QStringLiteral("&About Corvane");
QString aboutText(const QString& version);
QString updateAvailable(const QString& version);
inline const QString openDownloadPage = QStringLiteral("Open download page");

// Banners and the last error.
inline const QString dismiss = QStringLiteral("Dismiss");
inline const QString criticalSymbol = QStringLiteral("\u2717");
inline const QString noticeSymbol = QStringLiteral("\u26a0");

// The card picker.
inline const QString showDisconnectedCards = QStringLiteral("Show cards without a link");
inline const QString showVirtualCards = QStringLiteral("Show virtual cards");
inline const QString showVirtualCardsHelp =
    QStringLiteral("Also offer veth, tap and macvlan cards, for virtual machines and containers.");
inline const QString noCardsOffered = QStringLiteral("No wired card found");
inline const QString noCardsOfferedHelp =
    QStringLiteral("Plug in a wired network card, or show cards without a link or virtual cards.");
inline const QString pickACard = QStringLiteral("Pick the card the device is plugged into.");
// "Display name (system name)", or the system name alone.
QString cardName(const NetworkCard& card);
// The card's name as the picker lists it, marked when it has no link.
QString cardTitle(const NetworkCard& card);
QString cardDetail(const NetworkCard& card);

// The checklist.
inline const QString noChecksYet = QStringLiteral("Pick a card to check it.");
inline const QString checksDescribeTheStart =
    QStringLiteral("These checks describe the card when the server started. They run again "
                   "when it stops.");

// The device and waiting panels.
inline const QString deviceFound = QStringLiteral("Device found");
inline const QString lastDevice = QStringLiteral("Last device (server stopped)");
inline const QString lastSeenLabel = QStringLiteral("Last seen");
// The local date and time of `when`.
QString lastSeen(TimePoint when);
inline const QString addressLabel = QStringLiteral("Address");
inline const QString macLabel = QStringLiteral("MAC");
inline const QString hostnameLabel = QStringLiteral("Host name");
inline const QString vendorClassLabel = QStringLiteral("Vendor class");
inline const QString makerLabel = QStringLiteral("Maker");
inline const QString stateLabel = QStringLiteral("State");
inline const QString leaseLeftLabel = QStringLiteral("Lease left");
inline const QString presenceLabel = QStringLiteral("Presence");
inline const QString notGiven = QStringLiteral("\u2014");
inline const QString leaseExpired = QStringLiteral("expired");
inline const QString openInBrowser = QStringLiteral("Open in browser");
QString leaseLeft(const Lease& lease, TimePoint now);
QString presenceWord(PresenceState state);

inline const QString waitingForDevice = QStringLiteral("Waiting for a device");
inline const QString notServing = QStringLiteral("Not serving yet");
inline const QString waitingInstructions =
    QStringLiteral("Plug the device in, or restart it, so that it asks for an address.");
QString stoppedInstructions(const QString& card);
inline const QString rangeExhausted =
    QStringLiteral("Every address in the range is taken. Forget a lease or widen the range.");
inline const QString copied = QStringLiteral("Copied");

// The lease table and its confirmations.
inline const QString noLeases =
    QStringLiteral("No leases yet. A device appears here once it has asked for an address.");
inline const QString emptyLog = QStringLiteral(
    "Nothing logged yet. Press Start; every DHCP message and device check appears here.");
inline const QString forgetLeaseButton = QStringLiteral("Forget\u2026");
inline const QString reserveAddressButton = QStringLiteral("Reserve this address\u2026");
inline const QString clearExpiredButton = QStringLiteral("Clear expired\u2026");
inline const QString forgetLeaseConfirm = QStringLiteral("Forget");
inline const QString clearExpiredConfirm = QStringLiteral("Clear");

// The live log.
inline const QString pauseLog = QStringLiteral("Pause");
inline const QString resumeLog = QStringLiteral("Resume");
inline const QString clearLog = QStringLiteral("Clear");

// The settings sheet.
inline const QString settingsTitle = QStringLiteral("Server Settings");
inline const QString serverArea = QStringLiteral("Server");
inline const QString rangeArea = QStringLiteral("Range");
inline const QString leaseArea = QStringLiteral("Lease time");
inline const QString gatewayArea = QStringLiteral("Gateway");
inline const QString dnsArea = QStringLiteral("DNS");
inline const QString rangeTo = QStringLiteral("to");
// Examples, worded so that they never pass for values already filled in.
inline const QString serverIPPlaceholder = QStringLiteral("e.g. 192.168.0.1");
inline const QString prefixPlaceholder = QStringLiteral("e.g. 24");
inline const QString rangeStartPlaceholder = QStringLiteral("e.g. 192.168.0.100");
inline const QString rangeEndPlaceholder = QStringLiteral("e.g. 192.168.0.200");
inline const QString customLeasePlaceholder = QStringLiteral("e.g. 90m, 24h or 7d");
inline const QString optionalPlaceholder = QStringLiteral("optional, e.g. 192.168.0.1");
inline const QString settingsApplyAtNextStart =
    QStringLiteral("Changes apply at the next Start; a running server keeps its settings.");
QString addressCount(std::int64_t count);
inline const QString serverTab = QStringLiteral("Server");
inline const QString reservationsTab = QStringLiteral("Reservations");
inline const QString optionsTab = QStringLiteral("Options");
inline const QString reservationsHint =
    QStringLiteral("These devices always get the same address, inside or outside the range.");
inline const QString reservationMAC = QStringLiteral("MAC");
inline const QString reservationIP = QStringLiteral("Address");
inline const QString reservationName = QStringLiteral("Name");
inline const QString addRow = QStringLiteral("Add");
inline const QString removeRow = QStringLiteral("Remove");
inline const QString bootServer = QStringLiteral("Boot server");
inline const QString bootFile = QStringLiteral("Boot file");
inline const QString optionsHint = QStringLiteral(
    "Extra options by number. Values: addresses, text or numbers for known codes, or "
    "hex:0a0b0c, text:\u2026, ip:\u2026, u8:, u16:, u32: for any code.");
inline const QString optionCode = QStringLiteral("Code");
inline const QString optionName = QStringLiteral("Name");
inline const QString optionValue = QStringLiteral("Value");

// Administrator commands.
inline const QString commandDialogTitle = QStringLiteral("Administrator Command");
inline const QString commandRunning = QStringLiteral("Running\u2026");
inline const QString commandFailedLead = QStringLiteral("The command did not succeed.");
inline const QString commandRunningLead =
    QStringLiteral("Waiting for the administrator password and the command to finish\u2026");
inline const QString cancel = QStringLiteral("Cancel");
inline const QString close = QStringLiteral("Close");
// The confirmation's text: the intro and the command as it will run.
QString willRun(const SetupCommand& command);
// The failure, then the line to paste into a terminal instead.
QString runInTerminalInstead(const QString& reason, const SetupCommand& command);
// "{address} is ready to hand out".
QString readyToHandOut(IPv4Address next);

} // namespace corvane::gui_texts
