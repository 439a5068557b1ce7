#include <QApplication>
#include <QCommandLineParser>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <iostream>

#include "app/gui/dashboard_window.hpp"
#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/gui/screenshot_tour.hpp"
#include "app/model/app_model.hpp"
#include "core/config/settings_file.hpp"

// corvane-screenshots DIR [--card NAME] [-- DEVICE COMMAND...]: renders the program's main
// states to PNG files in DIR. Meant for the offscreen platform and a namespace made for it;
// scripts/screenshots.sh prepares both.
int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(corvane::gui_texts::applicationName);
    QApplication::setApplicationVersion(QStringLiteral(CORVANE_VERSION));
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Renders the main states of Corvane's window to PNG files."));
    parser.addHelpOption();
    const QCommandLineOption card(QStringLiteral("card"),
                                  QStringLiteral("Serve on this card (a veth made for the tour)."),
                                  QStringLiteral("name"));
    parser.addOption(card);
    const QCommandLineOption cardDown(
        QStringLiteral("card-down"),
        QStringLiteral("The card starts without link; show that, then bring it up."));
    parser.addOption(cardDown);
    const QCommandLineOption dark(QStringLiteral("dark"),
                                  QStringLiteral("Use a dark palette; file names end in -dark."));
    parser.addOption(dark);
    parser.addPositionalArgument(QStringLiteral("folder"),
                                 QStringLiteral("Where the PNG files go."));
    parser.addPositionalArgument(QStringLiteral("device"),
                                 QStringLiteral("After --: the device's DHCP client command."),
                                 QStringLiteral("[-- command...]"));
    parser.process(application);
    if (parser.isSet(dark)) {
        QApplication::setPalette(corvane::gui_style::darkPalette());
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty()) {
        std::cerr << "Name the folder for the screenshots, for example: corvane-screenshots "
                     "docs/screenshots\n";
        return 2;
    }

    const QTemporaryDir scratch;
    if (!scratch.isValid()) {
        std::cerr << "Could not create a temporary folder for the tour's settings and leases. "
                     "Check that the temporary folder is writable, then try again.\n";
        return 1;
    }
    const std::filesystem::path root = scratch.path().toStdString();
    auto environment = corvane::AppModelEnvironment::forUser();
    environment.settingsPath = root / "settings.json";
    environment.leaseFilePath = root / "leases.json";
    environment.logDirectory = root / "logs";
    environment.updates = corvane::UpdateConfiguration{};
    if (parser.isSet(card)) {
        // The tour's card is a veth: offered from the first launch, as a user who serves
        // virtual devices would have it.
        corvane::SettingsFile(environment.settingsPath).setShowVirtualCards(true);
    }

    corvane::AppModel model(std::move(environment));
    corvane::DashboardWindow window(model);
    corvane::ScreenshotTour::Options options{QDir(positional.first()), std::nullopt,
                                             positional.mid(1), false, QString()};
    if (parser.isSet(card)) {
        options.card = parser.value(card);
    }
    options.cardStartsDown = parser.isSet(cardDown);
    if (parser.isSet(dark)) {
        options.suffix = QStringLiteral("-dark");
    }
    corvane::ScreenshotTour tour(model, window, std::move(options));
    return tour.run() ? 0 : 1;
}
