#include <clocale>
#include <exception>
#include <iostream>
#include <new>
#include <regex>
#include <string>
#include <utility>

#include "command.h"
#include "crossing.h"
#include "failure.h"
#include "terminal.h"
#include "tessaly/delivery.h"

namespace {

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

// What is wrong with the arguments, in the sender's language.
std::string Explain(CLI::ParseError const& error) {
    static std::pair<char const*, char const*> const phrases[] = {
        {"A subcommand is required", "コマンドが必要です"},
        {"^(.*) is required.*$", "$1 が必要です"},
        {"^The following arguments? (?:was|were) not expected: (.*)$", "知らない引数です: $1"},
        {"^Could not convert: (.*) = (.*)$", "$1 の値が正しくありません: $2"},
        {"^(.*): Value (.*) not in range (\\S+) to (\\S+)$", "$1 の値は $3 から $4 までです: $2"},
        {"^(.*) excludes (.*)$", "$1 と $2 は一緒に使えません"},
        {"^(.*): 1 required .* missing$", "$1 の値が足りません"},
    };
    std::string text = error.what();
    for (auto const& [english, japanese] : phrases)
        text = std::regex_replace(text, std::regex(english), japanese);
    return text;
}

int ShowLibraryMessage(void*, char const* text, char const* title, unsigned) {
    std::cerr << (title ? app::Out(std::string_view(title)) + ": " : "") << app::Out(std::string_view(text))
              << "\n";
    return IDOK;
}

int Run(int argc, char** argv) {
    CLI::App program("Tessaly: 顧客一覧の一人ひとりに、その人に合わせたメールを送ります。", "tessaly");
    SpeakJapanese(program);
    program.set_version_flag("--version", "tessaly " TESSALY_VERSION, "版を表示します");
    program.require_subcommand(1);
    app::AddEnvCommands(program);
    app::AddSettingsCommand(program);
    app::AddCustomersCommands(program);
    app::AddPreviewCommand(program);
    app::AddSendCommand(program);
    app::AddPostboxCommand(program);
    NameGroups(program);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return program.exit(error);  // help and version
        std::cerr << Explain(error) << "\n説明は --help で見られます。\n";
        return app::exit_usage;
    }
    return app::exit_success;
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");
    SetMessageBoxHandler(ShowLibraryMessage, nullptr);
    app::CatchInterrupts();
    try {
        int const code = Run(argc, argv);
        std::cout.flush();
        if (std::cout) return code;
        std::cerr << "結果を書き出せませんでした。\n";
    } catch (app::Failure const& failure) {
        if (*failure.what() != 0) std::cerr << failure.what() << "\n";
        return failure.Code();
    } catch (std::bad_alloc const&) {
        std::cerr << "メモリが足りません。\n";
    } catch (std::exception const& error) {
        std::cerr << "予期しない失敗です: " << error.what() << "\n";
    } catch (CUserException const&) {  // the reason was shown when it was raised
    }
    return app::exit_failure;
}
