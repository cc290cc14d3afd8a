// SPDX-License-Identifier: Apache-2.0
#include "commands/account.h"
#include "commands/add.h"
#include "commands/catalogue.h"
#include "commands/command_line_errors.h"
#include "commands/descriptor_stream.h"
#include "commands/serve.h"
#include "commands/state_paths.h"
#include "commands/transfer.h"
#include "http/trusted_proxies.h"
#include "kvx.h"
#include "matching/catalogue_recogniser.h"
#include "standard_descriptors.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <limits>
#include <thread>
#include <unistd.h>

namespace {

using namespace tarn::server;

constexpr int kUsageStatus = 64;

// One subcommand: its options, and what runs when it was chosen.
class Commands {
  public:
    Commands(CLI::App& app, std::ostream& out, std::ostream& err) : app_(app), out_(out), err_(err) {
        addAdd();
        addServe();
        addAccount();
        addCatalogue();
    }

    int run() const { return chosen_(); }

  private:
    CLI::App* command(CLI::App& parent, const char* name, const char* help, std::function<int()> action) {
        CLI::App* made = parent.add_subcommand(name, help);
        made->callback([this, action = std::move(action)] { chosen_ = action; });
        return made;
    }

    // Goes on when the reader of what it prints has gone: what it changes matters more. A command that only shows
    // something ends there and then, as the signal has it.
    static std::function<int()> toTheEnd(std::function<int()> action) {
        return [action = std::move(action)] {
            std::signal(SIGPIPE, SIG_IGN);
            return action();
        };
    }

    CLI::App* catalogueCommand(const char* name, const char* help, std::function<int()> action) {
        CLI::App* made = command(app_, name, help, std::move(action));
        made->add_option("--catalogue,--catalogue", catalogue_,
                         "Catalogue: a folder, or redis://HOST:PORT[,HOST:PORT...]")
            ->type_name("PLACE")
            ->capture_default_str();
        return made;
    }

    void addAdd() {
        CLI::App* add = catalogueCommand("add", "Add files and folders to the catalogue", toTheEnd([this] {
                                             add_.catalogue = catalogue_;
                                             add_.progressBar = ::isatty(STDOUT_FILENO) == 1;
                                             return runAdd(add_, out_, err_);
                                         }));
        argument(*add, "PATH", add_.paths, "Audio files, and folders of them");
        addNumber(*add, "--workers", add_.workers, 0, 1024, "Threads that decode; 0: one for each processor");
        addGramLetters(*add, add_.gramLetters, "Letters of a gram in a new catalogue, 5 to 7; 0: as usual");
        addNumber(*add, "--batch", add_.batchFiles, 1, 10'000, "Files that are committed together");
    }

    void addServe() {
        CLI::App* serve = catalogueCommand("serve", "Answer recognition requests", [this] {
            serve_.accounts = accounts_;
            serve_.catalogue = catalogue_;
            ServiceSetup setup;
            CatalogueRecogniser recogniser(
                catalogue_, [&setup](const std::string& line) { setup.log->error("catalogue: {}", line); });
            // Ends before the recogniser that it uses.
            const std::jthread warming([&](const std::stop_token& stop) { recogniser.warmUp(stop); });
            return runServe(serve_, setup, recogniser, out_, err_);
        });
        serve->add_option("--listen", serve_.listen, "Where to listen; port 0 picks a free one")
            ->type_name("HOST:PORT")
            ->capture_default_str();
        serve
            ->add_option("--trusted-proxy", serve_.trustedProxies,
                         "Proxy whose last address in X-Forwarded-For is the client's, for the log")
            ->type_name("ADDRESS")
            ->check([](const std::string& text) {
                return usualAddress(text) ? "" : text + " is not an address; give one as in 127.0.0.1";
            });
        HttpLimits& limits = serve_.limits;
        addNumber(*serve, "--workers", limits.workers, 0, 1024,
                  "Threads that ask the catalogue; 0: one for each processor");
        addNumber(*serve, "--connections", limits.connections, 1, 100'000, "Connections at once");
        addNumber(*serve, "--connections-per-address", limits.connectionsPerAddress, 0, 100'000,
                  "Connections at once from one address; 0: no limit");
        addNumber(*serve, "--packet-bytes", limits.packetBytes, 1024, 4 * 1024 * 1024, "Bytes of the longest packet");
        addNumber(*serve, "--waiting", limits.waiting, 1, 1'000'000, "Admitted requests that wait for a worker");
        addSeconds(*serve, "--request-seconds", limits.requestTime, "To send a request, and to take its answer");
        addSeconds(*serve, "--waiting-seconds", limits.waitingTime, "For an admitted request to wait for a worker");
        addSeconds(*serve, "--stopping-seconds", limits.stoppingTime, "For what is in flight when the service ends");
        addAccountsOption(*serve);
    }

    static void addGramLetters(CLI::App& command, unsigned& value, const char* help) {
        command.add_option("--gram-letters", value, help)
            ->type_name("N")
            ->check(CLI::IsMember({0, 5, 6, 7}).description(""))
            ->capture_default_str();
    }

    // An argument without "--" in front. The name says what it is, so the help shows no type beside it.
    template <class Value>
    static CLI::Option* argument(CLI::App& command, const char* name, Value& value, const char* help) {
        return command.add_option(name, value, help)->type_name("")->required();
    }

    // The help shows the bounds after the text: the validators' own words for them would stand in the option's name.
    template <class Number>
    static void addNumber(CLI::App& command, const char* name, Number& value, size_t least, size_t most,
                          const std::string& help) {
        command.add_option(name, value, help + " (" + std::to_string(least) + " to " + std::to_string(most) + ")")
            ->type_name("N")
            ->check(CLI::Range(least, most).description(""))
            ->capture_default_str();
    }

    static void addSeconds(CLI::App& command, const char* name, std::chrono::milliseconds& value, const char* help) {
        command
            .add_option_function<double>(
                name,
                [&value](double seconds) {
                    value = std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
                },
                help)
            ->type_name("SECONDS")
            ->check(CLI::Range(0.01, 3600.0).description(""))
            ->default_str(std::to_string(value.count() / 1000));
    }

    void addAccount() {
        CLI::App* account = app_.add_subcommand("account", "Make, list and remove accounts")->require_subcommand(1);
        CLI::App* add = command(*account, "add", "Make an account and show its access code, once", toTheEnd([this] {
            accountAdd_.accounts = accounts_;
            return runAccountAdd(accountAdd_, out_, err_);
        }));
        add->add_option("--name", accountAdd_.name, "Whose it is")->type_name("NAME");
        addNumber(*add, "--encryption", accountAdd_.encryptionMethod, 1, 3, "1 none, 2 byte rotation, 3 block cipher");
        addNumber(*add, "--checksum", accountAdd_.checksumMethod, 2, 3, "2 byte sum, 3 digest");
        addAccountsOption(*add);
        addAccountsOption(*command(*account, "list", "List the accounts, without their keys",
                                   [this] { return runAccountList(accounts_, out_, err_); }));
        CLI::App* remove = command(*account, "remove", "Remove an account",
                                   toTheEnd([this] { return runAccountRemove(accounts_, accountId_, out_, err_); }));
        argument(*remove, "ID", accountId_, "Number of the account")
            ->check(CLI::Range(uint32_t{1}, std::numeric_limits<uint32_t>::max()).description(""));
        addAccountsOption(*remove);
    }

    void addAccountsOption(CLI::App& command) {
        command.add_option("--accounts", accounts_, "File of the accounts")->type_name("FILE")->capture_default_str();
    }

    void addCatalogue() {
        catalogueCommand("list", "List the recordings", [this] { return runList(catalogue_, out_, err_); });
        argument(*catalogueCommand("show", "Show all that is known of a recording",
                                   [this] { return runShow(catalogue_, name_, out_, err_); }),
                 "ID", name_, "Number or track id");
        argument(*catalogueCommand("remove", "Remove a recording",
                                   toTheEnd([this] { return runRemove(catalogue_, name_, out_, err_); })),
                 "ID", name_, "Number or track id");
        catalogueCommand("check", "Look for damage", [this] {
            return runCheck(catalogue_, deep_, out_, err_);
        })->add_flag("--deep", deep_, "Read every list, too, and compare them with the recordings");
        catalogueCommand("stats", "Size of the catalogue", [this] { return runStats(catalogue_, out_, err_); });
        CLI::App* compact =
            catalogueCommand("compact", "Take out of the lists what was removed or replaced",
                             toTheEnd([this] { return runCompact(catalogue_, compaction_, out_, err_); }));
        compact->add_flag("--purge", compaction_.anew, "Make the lists anew from the recordings; damaged ones go");
        addGramLetters(*compact, compaction_.gramLetters, "Letters of a gram from now on, 5 to 7; 0: as they are");
        argument(*catalogueCommand("backup", "Copy the catalogue while it is used",
                                   toTheEnd([this] { return runBackup(catalogue_, name_, out_, err_); })),
                 "FOLDER", name_, "Where the copy goes: a folder that is new or empty");
        argument(*catalogueCommand("restore", "Make the catalogue from a backup, where there is none",
                                   toTheEnd([this] { return runRestore(catalogue_, name_, out_, err_); })),
                 "FOLDER", name_, "Where the copy lies");
        catalogueCommand("export", "Print every recording as a line of JSON",
                         [this] { return runExport(catalogue_, out_, err_); });
        argument(*catalogueCommand("import", "Add recordings that were exported",
                                   toTheEnd([this] { return runImport(catalogue_, name_, std::cin, out_, err_); })),
                 "FILE", name_, "The lines; -: standard input");
        argument(*catalogueCommand("identify", "Recognise a file without a server, and say why",
                                   [this] { return runIdentify(catalogue_, name_, out_, err_); }),
                 "FILE", name_, "An audio file");
    }

    CLI::App& app_;
    std::ostream& out_;
    std::ostream& err_;
    std::function<int()> chosen_;
    std::string catalogue_ = (stateDirectory() / "catalogue").string();
    std::filesystem::path accounts_ = defaultAccountsFile();
    AddOptions add_;
    ServeOptions serve_;
    AccountAddOptions accountAdd_;
    uint32_t accountId_ = 0;
    std::string name_;
    bool deep_ = false;
    Compaction compaction_;
};

int run(int argc, char** argv, std::ostream& out, std::ostream& err) {
    try {
        CLI::App app("Recognises recordings of your own collection.", "tarn-server");
        app.require_subcommand(1);
        app.set_version_flag("--version", "tarn-server " KVX_VERSION);
        Commands commands(app, out, err);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            if (const auto answer = answerToUnknownCommand(app)) {
                err << *answer << '\n';
                return kUsageStatus;
            }
            if (error.get_exit_code() == 0) return app.exit(error, out, err); // --help, --version
            err << answerToUsageError(app, error) << '\n';
            return kUsageStatus;
        }
        return commands.run();
    } catch (const std::exception& error) {
        err << error.what() << '\n';
        return 1;
    }
}

} // namespace

int main(int argc, char** argv) {
    tarn::openStandardDescriptors();
    DescriptorStream out(STDOUT_FILENO);
    DescriptorStream err(STDERR_FILENO);
    err << std::unitbuf;
    const int status = run(argc, argv, out, err);
    out.flush();
    if (out.failure() != 0) err << "standard output cannot be written: " << std::strerror(out.failure()) << '\n';
    return status == 0 && (out.failure() != 0 || err.failure() != 0) ? kOutputLost : status;
}
