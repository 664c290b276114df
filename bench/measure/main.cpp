// measure SECTION DATA_DIR SMTP_PORT POP3_PORT: the library's figures for one section, through its exported
// classes only, as lines "task TAB peer TAB figure TAB unit".
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "measure.h"

namespace measure {

void Row(std::string const& task, double figure, char const* unit) {
    std::printf("%s\ttessaly\t%.4g\t%s\n", task.c_str(), figure, unit);
    std::fflush(stdout);
}

void Note(std::string const& text) { std::fprintf(stderr, "tessaly: %s\n", text.c_str()); }

std::string Slurp(std::string const& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) throw std::runtime_error("cannot open " + path);
    std::fseek(file, 0, SEEK_END);
    std::string content(static_cast<std::size_t>(std::ftell(file)), '\0');
    std::rewind(file);
    std::size_t const got = std::fread(content.data(), 1, content.size(), file);
    std::fclose(file);
    if (got != content.size()) throw std::runtime_error("cannot read " + path);
    return content;
}

std::vector<std::string> Lines(std::string const& path) {
    std::vector<std::string> lines;
    std::string const content = Slurp(path);
    for (std::size_t at = 0; at < content.size();) {
        std::size_t const end = std::min(content.find('\n', at), content.size());
        lines.emplace_back(content, at, end - at);
        at = end + 1;
    }
    return lines;
}

double ResidentMebibytes() {
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    long total = 0, resident = 0;
    if (!file || std::fscanf(file, "%ld %ld", &total, &resident) != 2) resident = 0;
    if (file) std::fclose(file);
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1048576.0;
}

std::string ScratchFolder() {
    static std::string folder = [] {
        std::string name =
            std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + "/tessaly-measure-XXXXXX";
        if (!mkdtemp(name.data())) throw std::runtime_error("no scratch folder");
        return name;
    }();
    return folder;
}

namespace {

int Run(std::string const& section, std::string const& data, int smtp_port, int pop3_port) {
    if (section == "merge") Merge(data);
    if (section == "conv") Conversions(data);
    if (section == "mime") Mime(data);
    if (section == "mime") Received(data);
    if (section == "mime") Composed();
    if (section == "merge" || section == "outgoing") Outgoing();
    if (section == "pop3") Pop(pop3_port);
    if (section == "smtp1") Smtp(data, smtp_port, 1);
    if (section == "smtp4") Smtp(data, smtp_port, 4);
    if (section == "smtp4") Mailing(smtp_port);
    if (section == "tls") Secure();
    if (section == "smtp4") Secure();
    if (section == "table") Table(data);
    if (section == "table" || section == "programs") Programs();
    return 0;
}

}  // namespace
}  // namespace measure

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "measure SECTION DATA_DIR SMTP_PORT POP3_PORT\n");
        return 2;
    }
    try {
        return measure::Run(argv[1], argv[2], std::atoi(argv[3]), std::atoi(argv[4]));
    } catch (std::exception const& error) {
        measure::Note(error.what());
        return 1;
    }
}
