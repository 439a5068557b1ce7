#pragma once

#include <QWidget>
#include <optional>
#include <string>
#include <vector>

#include "core/host/network_card.hpp"

class QCheckBox;
class QComboBox;
class QLabel;

namespace corvane {

// Chooses the card to serve on from the cards on offer, with the two switches that widen the
// offer: cards without link, and virtual Ethernet cards. Locked while a server runs.
class CardPicker : public QWidget {
    Q_OBJECT

public:
    explicit CardPicker(QWidget* parent = nullptr);

    void setCards(const std::vector<NetworkCard>& offered,
                  const std::optional<std::string>& selectedID);
    void setShowDisconnected(bool show);
    void setShowVirtualCards(bool show);
    void setLocked(bool locked);
    // Picks a card as the user would, announcing the choice; false when it is not offered.
    bool choose(const QString& cardID);

    // The card ids in the order offered, and the one shown as chosen.
    QStringList cardIDs() const;
    QString currentCardID() const;
    // The chosen card's line as the list shows it.
    QString currentTitle() const;

Q_SIGNALS:
    void cardChosen(const QString& cardID);
    void showDisconnectedToggled(bool show);
    void showVirtualCardsToggled(bool show);

private:
    void showDetail();

    std::vector<NetworkCard> cards_;
    bool locked_ = false;
    QComboBox* combo_;
    QLabel* detail_;
    QCheckBox* showDisconnected_;
    QCheckBox* showVirtual_;
};

} // namespace corvane
