#include "app/gui/settings_dialog.hpp"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "app/gui/gui_style.hpp"
#include "app/gui/gui_texts.hpp"
#include "app/gui/options_page.hpp"
#include "app/gui/reservations_page.hpp"
#include "core/config/lease_preset.hpp"

namespace corvane {

SettingsDialog::SettingsDialog(QWidget* parent)
    : QDialog(parent), serverIP_(textField("serverIP", gui_texts::serverIPPlaceholder)),
      prefix_(textField("prefix", gui_texts::prefixPlaceholder)),
      rangeStart_(textField("rangeStart", gui_texts::rangeStartPlaceholder)),
      rangeEnd_(textField("rangeEnd", gui_texts::rangeEndPlaceholder)),
      rangeCount_(new QLabel(this)), leasePreset_(new QComboBox(this)),
      customLease_(textField("customLease", gui_texts::customLeasePlaceholder)),
      router_(textField("router", gui_texts::optionalPlaceholder)),
      dns_(textField("dns", gui_texts::optionalPlaceholder)),
      buttons_(new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this)),
      tabs_(new QTabWidget(this)), reservations_(new ReservationsPage(this)),
      options_(new OptionsPage(this)) {
    setWindowTitle(gui_texts::settingsTitle);
    prefix_->setMaximumWidth(60);
    leasePreset_->setObjectName(QStringLiteral("leasePreset"));
    for (const auto preset : allLeasePresets) {
        leasePreset_->addItem(gui_texts::toQString(leasePresetLabel(preset)), int(preset));
    }
    QPalette muted = rangeCount_->palette();
    muted.setColor(QPalette::WindowText, gui_style::mutedText());
    rangeCount_->setPalette(muted);

    for (const auto field :
         {SettingsForm::Field::server, SettingsForm::Field::range, SettingsForm::Field::lease,
          SettingsForm::Field::gateway, SettingsForm::Field::dns}) {
        auto* label = new QLabel(this);
        label->setWordWrap(true);
        QPalette error = label->palette();
        error.setColor(QPalette::WindowText, gui_style::statusColor(PreflightCheck::Status::fail));
        label->setPalette(error);
        label->hide();
        messages_[field] = label;
    }

    auto* server = new QHBoxLayout;
    server->addWidget(serverIP_, 1);
    server->addSpacing(4);
    server->addWidget(new QLabel(QStringLiteral("/"), this));
    server->addSpacing(4);
    server->addWidget(prefix_);
    auto* range = new QHBoxLayout;
    range->addWidget(rangeStart_, 1);
    range->addSpacing(6);
    range->addWidget(new QLabel(gui_texts::rangeTo, this));
    range->addSpacing(6);
    range->addWidget(rangeEnd_, 1);
    range->addWidget(rangeCount_);
    auto* lease = new QHBoxLayout;
    lease->addWidget(leasePreset_);
    lease->addWidget(customLease_, 1);

    auto* grid = new QGridLayout;
    grid->setVerticalSpacing(4);
    grid->setHorizontalSpacing(12);
    int row = 0;
    const auto addArea = [&](const QString& title, QLayout* fields, SettingsForm::Field field) {
        grid->addWidget(new QLabel(title, this), row, 0, Qt::AlignRight | Qt::AlignVCenter);
        grid->addLayout(fields, row++, 1);
        grid->addWidget(messages_[field], row++, 1);
    };
    addArea(gui_texts::serverArea, server, SettingsForm::Field::server);
    addArea(gui_texts::rangeArea, range, SettingsForm::Field::range);
    addArea(gui_texts::leaseArea, lease, SettingsForm::Field::lease);
    auto* gateway = new QHBoxLayout;
    gateway->addWidget(router_);
    addArea(gui_texts::gatewayArea, gateway, SettingsForm::Field::gateway);
    auto* dns = new QHBoxLayout;
    dns->addWidget(dns_);
    addArea(gui_texts::dnsArea, dns, SettingsForm::Field::dns);
    grid->setColumnStretch(1, 1);

    auto* appliesLater = new QLabel(gui_texts::settingsApplyAtNextStart, this);
    appliesLater->setWordWrap(true);
    appliesLater->setPalette(muted);

    auto* serverPage = new QWidget(this);
    auto* serverLayout = new QVBoxLayout(serverPage);
    serverLayout->addLayout(grid);
    serverLayout->addStretch();
    tabs_->addTab(serverPage, gui_texts::serverTab);
    tabs_->addTab(reservations_, gui_texts::reservationsTab);
    tabs_->addTab(options_, gui_texts::optionsTab);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs_, 1);
    layout->addWidget(appliesLater);
    layout->addWidget(buttons_);
    setMinimumWidth(520);

    for (auto* edit : {serverIP_, prefix_, rangeStart_, rangeEnd_, customLease_, router_, dns_}) {
        connect(edit, &QLineEdit::textChanged, this, &SettingsDialog::evaluate);
    }
    connect(leasePreset_, &QComboBox::currentIndexChanged, this, &SettingsDialog::evaluate);
    connect(reservations_, &ReservationsPage::changed, this, &SettingsDialog::evaluate);
    connect(options_, &OptionsPage::changed, this, &SettingsDialog::evaluate);
    connect(buttons_, &QDialogButtonBox::accepted, this, [this] {
        if (canSave()) {
            accept();
        }
    });
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
    setConfig(ServerConfig::defaultConfig());
}

void SettingsDialog::setConfig(const ServerConfig& config) {
    setForm(SettingsForm(config));
}

void SettingsDialog::setForm(const SettingsForm& form) {
    {
        const QSignalBlocker quietServer(serverIP_), quietPrefix(prefix_), quietStart(rangeStart_),
            quietEnd(rangeEnd_), quietPreset(leasePreset_), quietCustom(customLease_),
            quietRouter(router_), quietDNS(dns_);
        serverIP_->setText(QString::fromStdString(form.serverIP));
        prefix_->setText(QString::fromStdString(form.prefix));
        rangeStart_->setText(QString::fromStdString(form.rangeStart));
        rangeEnd_->setText(QString::fromStdString(form.rangeEnd));
        leasePreset_->setCurrentIndex(leasePreset_->findData(int(form.leasePreset)));
        customLease_->setText(QString::fromStdString(form.customLease));
        router_->setText(QString::fromStdString(form.router));
        dns_->setText(QString::fromStdString(form.dns));
        reservations_->showRows(form.reservations);
        options_->showForm(form);
    }
    evaluate();
}

SettingsForm SettingsDialog::form() const {
    SettingsForm form;
    form.serverIP = serverIP_->text().toStdString();
    form.prefix = prefix_->text().toStdString();
    form.rangeStart = rangeStart_->text().toStdString();
    form.rangeEnd = rangeEnd_->text().toStdString();
    form.leasePreset = static_cast<LeasePreset>(leasePreset_->currentData().toInt());
    form.customLease = customLease_->text().toStdString();
    form.router = router_->text().toStdString();
    form.dns = dns_->text().toStdString();
    form.reservations = reservations_->rows();
    options_->fill(form);
    return form;
}

QString SettingsDialog::messagesShown(SettingsForm::Field field) const {
    if (field == SettingsForm::Field::reservations) {
        return reservations_->messagesShown();
    }
    if (field == SettingsForm::Field::boot || field == SettingsForm::Field::options) {
        return options_->messagesShown(field);
    }
    const QLabel* label = messages_.at(field);
    return label->isHidden() ? QString() : label->text();
}

QString SettingsDialog::rangeCountShown() const {
    return rangeCount_->text();
}

bool SettingsDialog::canSave() const {
    return buttons_->button(QDialogButtonBox::Save)->isEnabled();
}

void SettingsDialog::evaluate() {
    const SettingsForm current = form();
    const auto evaluation = current.evaluate();
    for (auto& [field, label] : messages_) {
        const auto found = evaluation.errors.find(field);
        outline(field, found != evaluation.errors.end());
        if (found == evaluation.errors.end()) {
            label->clear();
            label->hide();
            continue;
        }
        QStringList lines;
        for (const auto& message : found->second) {
            lines << QString::fromStdString(message);
        }
        label->setText(lines.join(QLatin1Char('\n')));
        label->show();
    }
    reservations_->showMessages(evaluation.errors);
    options_->showMessages(evaluation.errors);
    const auto count = current.rangeCount();
    rangeCount_->setText(count ? gui_texts::addressCount(*count) : QString());
    customLease_->setEnabled(current.leasePreset == LeasePreset::custom);
    buttons_->button(QDialogButtonBox::Save)->setEnabled(evaluation.config.has_value());
}

void SettingsDialog::showPage(QWidget& page) {
    tabs_->setCurrentWidget(&page);
}

std::vector<QLineEdit*> SettingsDialog::editsOf(SettingsForm::Field field) const {
    switch (field) {
    case SettingsForm::Field::server:
        return {serverIP_, prefix_};
    case SettingsForm::Field::range:
        return {rangeStart_, rangeEnd_};
    case SettingsForm::Field::lease:
        return {customLease_};
    case SettingsForm::Field::gateway:
        return {router_};
    case SettingsForm::Field::dns:
        return {dns_};
    case SettingsForm::Field::reservations:
    case SettingsForm::Field::boot:
    case SettingsForm::Field::options:
        // Those pages show their messages beside their own lists.
        return {};
    }
    return {};
}

void SettingsDialog::outline(SettingsForm::Field field, bool atFault) {
    const QString frame =
        atFault ? QStringLiteral("QLineEdit { border: 2px solid %1; border-radius: 3px; "
                                 "padding: 1px 3px; }")
                      .arg(gui_style::statusColor(PreflightCheck::Status::fail).name())
                : QString();
    for (auto* edit : editsOf(field)) {
        if (edit->property("atFault").toBool() != atFault) {
            edit->setProperty("atFault", atFault);
            edit->setStyleSheet(frame);
        }
    }
}

bool SettingsDialog::isOutlined(SettingsForm::Field field) const {
    const auto edits = editsOf(field);
    return std::any_of(edits.begin(), edits.end(),
                       [](const QLineEdit* edit) { return edit->property("atFault").toBool(); });
}

QLineEdit* SettingsDialog::textField(const char* name, const QString& placeholder) {
    auto* edit = new QLineEdit(this);
    edit->setObjectName(QLatin1String(name));
    edit->setPlaceholderText(placeholder);
    return edit;
}

} // namespace corvane
