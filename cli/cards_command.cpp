#include <iostream>

#include "cli/cli_texts.hpp"
#include "cli/config_flags.hpp"
#include "cli/subcommands.hpp"
#include "cli/text_table.hpp"
#include "core/host/interfaces.hpp"

namespace corvane::cli {
namespace {

struct CardsOptions {
    bool all = false;
    bool virtualCards = false;
};

std::string linkText(const NetworkCard& card) {
    if (!card.linkUp) {
        return std::string(texts::linkDown);
    }
    return card.media ? std::string(texts::linkUp) + " \u00b7 " + *card.media
                      : std::string(texts::linkUp);
}

int listCards(const CardsOptions& options) {
    const auto settings = userSettings();
    const bool showVirtual = options.virtualCards || (settings && settings->showVirtualCards());
    const auto every = Interfaces::list();
    // The command line shows cards without link too: the link column tells them apart.
    const auto cards = options.all ? every : Interfaces::offered(every, true, showVirtual);
    if (cards.empty()) {
        std::cout << texts::noOfferedCards << "\n";
        return successStatus;
    }
    TextTable table({"NAME", "DISPLAY NAME", "KIND", "LINK", "ADDRESS", "METHOD", "PRIMARY"});
    for (const auto& card : cards) {
        table.addRow({card.bsdName, card.displayName, std::string(kindName(card.kind)),
                      linkText(card), card.addressSummary(), methodDescription(card.configMethod),
                      card.isPrimary ? std::string(texts::primaryMark) : ""});
    }
    std::cout << table.render();
    return successStatus;
}

} // namespace

void addCardsCommand(CLI::App& app) {
    auto options = std::make_shared<CardsOptions>();
    auto* command =
        app.add_subcommand("cards", "List the wired network cards Corvane can serve on");
    command->add_flag("--all", options->all, "List every network card of this computer");
    command->add_flag("--virtual", options->virtualCards,
                      "Also list virtual Ethernet cards (veth, tap, macvlan)");
    command->callback([options] { exitUnlessSucceeded(listCards(*options)); });
}

} // namespace corvane::cli
