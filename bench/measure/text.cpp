// Code conversion, encoded words, transfer encodings, and merging.
#include <tessaly/customers.h>
#include <tessaly/delivery.h>
#include <tessaly/mime.h>
#include <tessaly/text.h>

#include <cstring>
#include <memory>
#include <stdexcept>

#include "measure.h"

namespace measure {
namespace {

std::size_t sink = 0;

std::string InCp932(std::string const& utf8) {
    std::string out(utf8.size() * 2 + 16, '\0');
    KCodeC code;
    code.utf8tosj(out.data(), utf8.c_str());
    out.resize(std::strlen(out.c_str()));
    return out;
}

}  // namespace

void Conversions(std::string const& data) {
    KCodeC code;
    auto const measure_one = [&](char const* from, char const* to, char const* labels, auto convert) {
        std::string const text = Slurp(data + "/text." + from);
        std::string const want = Slurp(data + "/text." + to);
        std::string out(text.size() * 2 + 64, '\0');
        std::string const task = std::string("convert ") + labels;
        convert(out.data(), text.c_str());
        if (want != out.c_str()) Note("differs: " + task);
        Row(task, Megabytes(text) / Best([&] {
                      convert(out.data(), text.c_str());
                      sink += static_cast<unsigned char>(out[text.size() / 2]);
                  }),
            "MB/s in");
    };
    measure_one("cp932", "utf8", "CP932 -> UTF-8",
                [&](char* out, char const* in) { code.sjtoutf8(out, in); });
    measure_one("utf8", "cp932", "UTF-8 -> CP932",
                [&](char* out, char const* in) { code.utf8tosj(out, in); });
    measure_one("cp932", "jis", "CP932 -> ISO-2022-JP",
                [](char* out, char const* in) { sjtojis7_core(out, in, 0); });
    measure_one("jis", "cp932", "ISO-2022-JP -> CP932",
                [](char* out, char const* in) { jis7tosj_core(out, in); });
    measure_one("cp932", "euc", "CP932 -> EUC-JP", [](char* out, char const* in) { sjtouj_core(out, in); });
    measure_one("euc", "cp932", "EUC-JP -> CP932", [](char* out, char const* in) { ujtosj_core(out, in); });

    auto const subjects = Lines(data + "/subjects.txt");
    std::string out(4096, '\0');
    Row("convert subjects one by one, UTF-8 -> CP932",
        static_cast<double>(subjects.size()) / Best([&] {
            for (auto const& subject : subjects)
                sink += static_cast<unsigned char>(*code.utf8tosj(out.data(), subject.c_str()));
        }),
        "/s");
}

namespace {

void Subjects(std::string const& data) {
    std::vector<std::string> subjects;
    for (auto const& line : Lines(data + "/subjects.txt")) subjects.push_back(InCp932(line));
    double const count = static_cast<double>(subjects.size());
    std::vector<std::string> encoded(subjects.size());
    KCodeC code;
    Row("encode Subject, ISO-2022-JP B, folded",
        count / Best([&] {
            for (std::size_t i = 0; i < subjects.size(); ++i) {
                char* word = nullptr;
                MIMEBase64EncodeForJIS(&word, code.sjtojis7(subjects[i].c_str(), 0));
                encoded[i] = word;
                delete[] word;
            }
        }),
        "/s");
    std::size_t right = 0;
    for (std::size_t i = 0; i < subjects.size(); ++i) {
        std::string unfolded = encoded[i];
        for (std::size_t at; (at = unfolded.find("\r\n\t")) != unfolded.npos;) unfolded.erase(at, 3);
        char* text = nullptr;
        MIMEBase64DecodeForJIS(&text, unfolded.c_str());
        right += subjects[i] == text;
        delete[] text;
    }
    Note(std::to_string(right) + " of " + std::to_string(subjects.size()) +
         " subjects encoded and decoded as expected");

    std::vector<std::string> headers;
    for (auto& line : Lines(data + "/subjects.mime")) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty() && line[0] == ' ')
            headers.back() += line.substr(1);
        else
            headers.push_back(line.substr(9));
    }
    right = 0;
    Row("decode Subject", count / Best([&] {
                              right = 0;
                              for (std::size_t i = 0; i < headers.size(); ++i) {
                                  char* text = nullptr;
                                  MIMEBase64DecodeForJIS(&text, headers[i].c_str());
                                  right += subjects[i] == text;
                                  delete[] text;
                              }
                          }),
        "/s");
    Note(std::to_string(right) + " of " + std::to_string(headers.size()) + " subjects decoded as expected");
}

}  // namespace

void Mime(std::string const& data) {
    Subjects(data);
    std::string const binary = Slurp(data + "/binary.bin");
    std::string const text = Slurp(data + "/qp.utf8");
    std::string encoded(binary.size() * 3 / 2, '\0'), decoded(binary.size() + 16, '\0');
    Row("base64 encode", Megabytes(binary) / Best([&] {
                             base64encoding(reinterpret_cast<unsigned char*>(encoded.data()),
                                            reinterpret_cast<unsigned char const*>(binary.data()),
                                            static_cast<int>(binary.size()), -1);
                         }),
        "MB/s in");
    encoded.resize(std::strlen(encoded.c_str()));
    int length = 0;
    Row("base64 decode",
        Megabytes(encoded) / Best([&] {
            length = base64decoding(decoded.data(), encoded.c_str(), static_cast<int>(decoded.size()));
        }),
        "MB/s in");
    if (length != static_cast<int>(binary.size()) || decoded.compare(0, binary.size(), binary) != 0)
        Note("base64 differs");

    CString const plain{std::string_view(text)};
    CString quoted, back;
    Row("quoted-printable encode",
        Megabytes(text) / Best([&] { quoted = CMailDataStructure::QuotedPrintableEncorder(plain); }),
        "MB/s in");
    Row("quoted-printable decode",
        Megabytes(quoted.View()) / Best([&] { back = CMailDataStructure::QuotedPrintableDecoder(quoted); }),
        "MB/s in");
    if (back != plain) Note("quoted-printable differs");
}

void Merge(std::string const& data) {
    // The words of the data in the members that the library merges.
    std::pair<char const*, CString OneCustomer::*> const fields[] = {
        {"会社名", &OneCustomer::Company},    {"名前(姓)", &OneCustomer::KanjiSei},
        {"名前(名)", &OneCustomer::KanjiMei}, {"拡張属性A", &OneCustomer::ExtraA},
        {"郵便番号", &OneCustomer::ZipCode1}, {"都道府県", &OneCustomer::Prefecture},
        {"電話番号", &OneCustomer::Phone1},   {"拡張属性B", &OneCustomer::ExtraB},
        {"拡張属性C", &OneCustomer::ExtraC},  {"メールアドレス", &OneCustomer::Email}};
    std::string body = InCp932(Slurp(data + "/body.txt"));
    auto const words = Lines(data + "/words.txt");
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::string const mark = "<%" + InCp932(words[i]) + "%>";
        std::string const ours = std::string("<%") + fields[i].first + "%>";
        for (std::size_t at = 0; (at = body.find(mark, at)) != body.npos; at += ours.size())
            body.replace(at, mark.size(), ours);
    }
    std::vector<OneCustomer> people;
    for (auto const& line : Lines(data + "/values.tsv")) {
        OneCustomer& person = people.emplace_back();
        std::size_t from = 0;
        for (auto const& [word, member] : fields) {
            std::size_t const end = std::min(line.find('\t', from), line.size());
            person.*member = std::string_view(InCp932(line.substr(from, end - from)));
            from = end + 1;
        }
    }
    std::size_t bytes = 0;
    Row("merge, 2 KB body, 10 words",
        static_cast<double>(people.size()) / Best([&] {
            bytes = 0;
            for (OneCustomer const& person : people)
                bytes += static_cast<std::size_t>(
                    MailWordInsert::GetMailWordInsert(person, body.c_str(), 0).GetLength());
        }),
        "bodies/s");
    Note("merged " + std::to_string(bytes) + " bytes");
}

}  // namespace measure
