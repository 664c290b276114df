#include <sys/stat.h>

#include <clocale>
#include <exception>
#include <iostream>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/command.h"
#include "cli/terminal.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "tessaly/delivery.h"

namespace {

enum ExitCode : int { exit_success = 0, exit_failure = 1, exit_usage = 2 };

ExitCode ExitCodeOf(engine::Failure const& failure) {
    return failure.GetKind() == engine::Failure::invalid_request ? exit_usage : exit_failure;
}

void SpeakJapanese(CLI::App& app) {
    auto formatter = std::make_shared<CLI::Formatter>();
    formatter->label("REQUIRED", "");
    formatter->label("Excludes", "一緒に使えない");
    formatter->label("OPTIONS", "オプション");
    formatter->label("Usage", "使い方");
    formatter->label("Options", "オプション");
    formatter->label("Positionals", "引数");
    formatter->label("Subcommands", "コマンド");
    formatter->label("SUBCOMMAND", "コマンド");
    formatter->label("SUBCOMMANDS", "コマンド");
    formatter->label("POSITIONALS", "引数");
    formatter->column_width(34);
    app.formatter(formatter);
    app.set_help_flag("-h,--help", "この説明を表示します");
}

// The headings of the groups in the help, of every command below `app` too.
void NameGroups(CLI::App& app) {
    for (CLI::Option* option : app.get_options()) option->group("オプション");
    for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
        command->group("コマンド");
        NameGroups(*command);
    }
}

// The Japanese for a text that matches an English pattern, in which "*" stands for anything; "$1" in the
// Japanese stands for the first of those.
std::optional<std::string> Reworded(std::string_view text, std::string_view english, std::string japanese) {
    for (int number = 0;; ++number) {
        std::size_t const star = english.find('*');
        std::string_view const literal = english.substr(0, star);
        std::size_t const place = number > 0 && literal.empty() ? text.size() : text.find(literal);
        if (place == text.npos || (number == 0 && place > 0)) return {};
        if (std::size_t const at = japanese.find("$" + std::to_string(number)); at != japanese.npos)
            japanese.replace(at, 2, text.substr(0, place));
        text.remove_prefix(place + literal.size());
        if (star == english.npos) break;
        english.remove_prefix(star + 1);
    }
    if (!text.empty()) return {};
    return japanese;
}

// What is wrong with the arguments, in Japanese.
std::string Explain(CLI::ParseError const& error, std::vector<std::string> const& unknown) {
    static std::pair<char const*, char const*> const phrases[] = {
        {"* is required*", "$1 が必要です"},
        {"The following argument was not expected: *", "知らない引数です: $1"},
        {"The following arguments were not expected: *", "知らない引数です: $1"},
        {"Could not convert: * = *", "$1 の値が正しくありません: $2"},
        {"*: Value * not in range * to *", "$1 の値は $3 から $4 までです: $2"},
        {"* excludes *", "$1 と $2 は一緒に使えません"},
        {"*: 1 required * missing", "$1 の値が足りません"},
    };
    std::string_view const text = error.what();
    if (text == "A subcommand is required")
        return unknown.empty() ? "コマンドが必要です" : "知らないコマンドです: " + unknown[0];
    for (auto const& [english, japanese] : phrases)
        if (auto const reworded = Reworded(text, english, japanese)) return *reworded;
    return std::string(text);
}

int ShowLibraryMessage(void*, char const* text, char const* title, unsigned) {
    std::cerr << (title ? engine::Out(std::string_view(title)) + ": " : "")
              << engine::Out(std::string_view(text)) << "\n";
    return IDOK;
}

int Run(int argc, char** argv) {
    CLI::App program("Tessaly: 顧客一覧の一人ひとりに、その人に合わせたメールを送ります。", "tessaly");
    SpeakJapanese(program);
    program.set_version_flag("--version", "tessaly " TESSALY_VERSION, "版を表示します");
    program.require_subcommand(1);
    cli::AddEnvCommands(program);
    cli::AddSettingsCommand(program);
    cli::AddCustomersCommands(program);
    cli::AddMailCommands(program);
    cli::AddTargetCommand(program);
    cli::AddGroupCommands(program);
    cli::AddTestersCommands(program);
    cli::AddRefusalsCommands(program);
    cli::AddPreviewCommand(program);
    cli::AddSendCommand(program);
    cli::AddReportCommand(program);
    cli::AddUnknownCommand(program);
    cli::AddReceiveCommand(program);
    cli::AddCheckCommand(program);
    cli::AddNewsCommand(program);
    cli::AddInboxCommands(program);
    cli::AddBackupCommands(program);
    cli::AddPostboxCommand(program);
    NameGroups(program);
    try {
        program.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0) return program.exit(error);  // help and version
        std::cerr << Explain(error, program.remaining(true)) << "\n説明は --help で見られます。\n";
        return exit_usage;
    }
    return exit_success;
}

}  // namespace

int main(int argc, char** argv) {
    umask(S_IRWXG | S_IRWXO);  // whatever it writes is the owner's alone
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");
    SetMessageBoxHandler(ShowLibraryMessage, nullptr);
    cli::CatchInterrupts();
    try {
        int const code = Run(argc, argv);
        std::cout.flush();
        if (std::cout) return code;
        std::cerr << "結果を書き出せませんでした。\n";
    } catch (engine::Failure const& failure) {
        if (*failure.what() != 0) std::cerr << failure.what() << "\n";
        return ExitCodeOf(failure);
    } catch (std::bad_alloc const&) {
        std::cerr << "メモリが足りません。\n";
    } catch (std::exception const& error) {
        std::cerr << "予期しない失敗です: " << error.what() << "\n";
    } catch (CUserException const&) {  // the reason was shown when it was raised
    }
    return exit_failure;
}
