// Single operations, for looking at while working on them; figures that are quoted come from `measure`.
#include <benchmark/benchmark.h>
#include <tessaly/customers.h>
#include <tessaly/delivery.h>
#include <tessaly/mime.h>
#include <tessaly/text.h>

#include <memory>
#include <string>

namespace {

CString const japanese =
    "いつもお世話になっております。ご注文は、お電話またはホームページから承っております。TEL "
    "03-0000-0000\r\n";

void CopyString(benchmark::State& state) {
    for (auto _ : state) {
        CString copy = japanese;
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(CopyString);

void BodyToJis(benchmark::State& state) {
    CString body;
    for (int i = 0; i < state.range(0); ++i) body += japanese;
    KCodeC code;
    for (auto _ : state) benchmark::DoNotOptimize(code.sjtojis7(body, 0));
    state.SetBytesProcessed(state.iterations() * body.GetLength());
}
BENCHMARK(BodyToJis)->Arg(1)->Arg(20)->Arg(2000);

void SubjectToEncodedWords(benchmark::State& state) {
    KCodeC code;
    for (auto _ : state) {
        char* out = nullptr;
        MIMEBase64EncodeForJIS(&out, code.sjtojis7("新商品のご案内と、夏の特別キャンペーンのお知らせ", 0));
        std::unique_ptr<char[]> const owned(out);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(SubjectToEncodedWords);

void CheckAddress(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(MailAddressChecker("hanako.yamada+shop@mail.example.jp"));
}
BENCHMARK(CheckAddress);

void TerminalType(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(CXEmail::GetTermTypeFromMailAddr("hanako.yamada@mail.example.jp"));
}
BENCHMARK(TerminalType);

void MessageId(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(MailSend::MakeMessageID("tessaly@example.jp", 1));
}
BENCHMARK(MessageId);

void TableLock(benchmark::State& state) {
    CDatabaseEdit customers;
    for (auto _ : state) benchmark::DoNotOptimize(customers.GetMaxDBID());
}
BENCHMARK(TableLock);

}  // namespace

BENCHMARK_MAIN();
