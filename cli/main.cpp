#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include "cli/cli_texts.hpp"
#include "cli/subcommands.hpp"
#include "cli/usage_error.hpp"

int main(int argc, char** argv) {
    using namespace corvane::cli;
    CLI::App app(std::string(texts::programDescription), "corvane");
    app.require_subcommand(1);
    addCardsCommand(app);
    addCheckCommand(app);
    addServeCommand(app);
    addLeasesCommands(app);
    addControlCommands(app);
    addDemoCommand(app);
    try {
        app.parse(argc, argv);
        return successStatus;
    } catch (const CLI::RuntimeError& error) {
        return error.get_exit_code();
    } catch (const CLI::ParseError& error) {
        // Help and version requests end the parse with a success code.
        const int status = app.exit(error);
        return status == 0 ? successStatus : usageStatus;
    } catch (const UsageError& error) {
        for (const auto& problem : error.problems()) {
            std::cerr << problem << "\n";
        }
        return usageStatus;
    } catch (const std::exception& error) {
        std::cerr << "corvane: " << error.what() << "\n";
        return refusedStatus;
    }
}
