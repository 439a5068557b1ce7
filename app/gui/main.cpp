#include <QApplication>
#include <QStyleFactory>

#include "app/gui/app_icon.hpp"
#include "app/gui/dashboard_window.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/model/app_model.hpp"

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(corvane::gui_texts::applicationName);
    QApplication::setApplicationVersion(QStringLiteral(CORVANE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("corvane-gui"));
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setWindowIcon(corvane::appIcon());

    corvane::AppModel model(corvane::AppModelEnvironment::forUser());
    corvane::DashboardWindow window(model);
    window.show();
    model.bootstrap();
    return QApplication::exec();
}
