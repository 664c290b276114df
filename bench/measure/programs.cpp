// Customers from other programs: 200,000 new ones of each kind, beside the plain import of the same values.
#include <sys/stat.h>
#include <tessaly/customers.h>
#include <tessaly/environment.h>
#include <tessaly/storage.h>
#include <tessaly/text.h>

#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>

#include "measure.h"
#include "tessaly/platform/path.h"
#include "tessaly/platform/process.h"

namespace measure {
namespace {

constexpr int lines = 200000, settings_cells = 123, columns = 56;
constexpr char const* key = "measure";

// An empty table of an environment of its own.
struct Shop {
    Shop() {
        CString const root = platform::LibraryPath(ScratchFolder() + "/programs"), file = root + "\\shop.tsl";
        for (char const* folder : {"\\shop\\DB", "\\shop\\MAIL", "\\shop\\EXTRACT"})
            MakeDirectoryCompel(root + folder);
        EnvManager::MakeDefaultEnvFile(file, key);
        if (environment.InitEnvFileInfo(file, key, 0) != 0) throw std::runtime_error("no environment");
        options.SetEnvManager(&environment);
        CArray<CString, CString> cells;
        cells.SetSize(settings_cells);
        options.SetElementNumber(settings_cells);
        options.SetSODataFromAllDataToMemory(cells);
        customers.SetEnvManager(&environment);
        customers.SetSystemOption(&options);
    }
    EnvManager environment;
    SystemOption options;
    CDatabaseEdit customers;
};

std::string File(std::string const& head, std::function<std::string(std::string const&)> const& line) {
    std::string const path = ScratchFolder() + "/customers";
    std::ofstream file(path, std::ios::binary);
    file << head;
    for (int i = 0; i < lines; ++i) file << line("n" + std::to_string(i) + "@example.jp") << "\r\n";
    return path;
}

using Import =
    std::function<int(CDatabaseEdit&, CString const& path, CString const& log, int* imported, int* errors)>;

double Seconds(std::string const& host_path, Import const& import) {
    CString const path = platform::LibraryPath(host_path),
                  log = platform::LibraryPath(ScratchFolder() + "/log");
    return Best([&] {
        Shop shop;
        int imported = 0, errors = 0;
        if (import(shop.customers, path, log, &imported, &errors) != lines)
            throw std::runtime_error("import failed");
    });
}

double Plain(std::string const& path, std::initializer_list<int> elements_in_order) {
    return Seconds(path,
                   [&](CDatabaseEdit& customers, CString const& file, CString const&, int* imported, int*) {
                       CArray<int, int> elements, error_lines;
                       CArray<CString, CString> error_texts;
                       elements.SetSize(columns);
                       for (int& element : elements) element = -1;
                       int column = 0;
                       for (int const element : elements_in_order) {
                           if (element >= 0) elements[element] = column;
                           ++column;
                       }
                       return customers.ImportDBfromFile(file, ",", '"', elements, 1, imported, error_lines,
                                                         error_texts, "1");
                   });
}

void Compare(char const* program, double seconds, double plain) {
    Row(std::string("import 200,000 from ") + program, seconds, "s");
    Row(std::string("import 200,000 from ") + program + ", to plain CSV", seconds / plain, "x");
}

constexpr char const* shop_values = "姓,名,せい,めい,100-0001,東京都,千代田区千代田1-1,03-1234-5678";

}  // namespace

void Programs() {
    platform::SkipSleeps(true);
    auto const becky_line = [](std::string const& address) {
        return address + ",会社,部署,姓,名,03-1234-5678,03-1234-5679,1-1,千代田区,東京都,1000001";
    };
    std::string const becky = File("", becky_line);
    double const plain_becky = Plain(becky, {1, 6, 7, 2, 3, 15, 17, 13, 12, 11, 9});
    Compare("Becky!",
            Seconds(becky,
                    [](auto& c, auto& path, auto& log, int* imported, int* errors) {
                        return c.ImportDBfromBeckyFile(path, log, imported, errors, nullptr, nullptr, 1);
                    }),
            plain_becky);
    std::string const outlook = File(
        "電子メール アドレス,会社名,部署名,姓,名,自宅電話番号 "
        ":,自宅ファックス,自宅の番地,自宅の市区町村,自宅の都道府県,自宅の郵便番号\r\n",
        becky_line);
    Compare("OutLook",
            Seconds(outlook,
                    [](auto& c, auto& path, auto& log, int* imported, int* errors) {
                        return c.ImportDBfromOutLookFile(path, log, imported, errors, nullptr, nullptr, 1);
                    }),
            plain_becky);
    CString const converter = platform::LibraryPath(ScratchFolder() + "/convert");
    std::ofstream(ScratchFolder() + "/convert") << "#!/bin/sh\nexec ln \"$1\" \"${2#/d:}\"\n";
    chmod((ScratchFolder() + "/convert").c_str(), 0755);
    auto const fwa_line = [](std::string const& address) {
        return "1," + address +
               ",姓 名,ｾｲ,会社,部署,1990/4/1,1000001,東京都千代田区1-1,03-1234-5678,03-1234-5679,090-1,男";
    };
    double const plain_fwa = Plain(File("", fwa_line), {-1, 1, 2, 4, 6, 7, 8, 9, 12, 15, 17, 19, 28});
    std::string const fwa = File(
        "x\r\nNo.,e-mail,氏名,ﾌﾘｶﾞﾅ,会社名,部署名１,誕生日,〒,住所１,TEL.,TEL.2:FAX.,TEL.3:携帯,性別\r\n",
        fwa_line);
    Compare("fudemame",
            Seconds(fwa,
                    [&](auto& c, auto& path, auto& log, int* imported, int* errors) {
                        return c.ImportDBfromFWAFile(path, converter, log, imported, errors, nullptr, nullptr,
                                                     1);
                    }),
            plain_fwa);
    auto const corvane_line = [](std::string const& address) {
        return std::string("1,u,c,") + shop_values + "," + address + ",希望する,2004/1/2 03:04:05";
    };
    double const plain_corvane =
        Plain(File("", corvane_line), {-1, -1, -1, 2, 3, 4, 5, 9, 11, 12, 15, 1, -1, -1});
    std::string const corvane = File(
        "顧客ID,ユーザーID,アクセスコード,顧客名(姓),顧客名(名),顧客名よみ(姓),顧客名よみ(名),郵便番号,"
        "都道府県,住所,電話番号,メールアドレス,配信希望,更新日時\r\n",
        corvane_line);
    Compare("Corvane",
            Seconds(corvane,
                    [](auto& c, auto& path, auto& log, int* imported, int* errors) {
                        return c.ImportDBfromCorvaneFile(path, log, imported, errors, nullptr, nullptr, "0",
                                                         nullptr);
                    }),
            plain_corvane);
    std::string titles =
        "メールアドレス,姓,名,姓（ふりがな）,名（ふりがな）,会社名,部署名,生年月日,郵便番号,都道府県,"
        "市区町村,番地以下,電話番号,FAX番号,携帯番号,DM配信";
    for (int i = 0; i < 19; ++i) titles += ",項目" + std::to_string(i);
    auto const belmora_line = [](std::string const& address) {
        return address +
               ",姓,名,せい,めい,会社,部署,1990/4/"
               "1,1000001,東京都,千代田区,1-1,03-1,03-2,090-1,Y,a,1,2,d,e,f,g,h,i,j,k,l,m,n,o,p,q,5,2004/1/"
               "2,2004/1/2 03:04,2004/1/2 03:04";
    };
    double const plain_belmora = Plain(
        File("", belmora_line), {1,  2,  3,  4,  5,  6,  7,  8,  9,  11, 12, 13, 15, 17, 19, 21, 28, 29, 30,
                                 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, -1, -1});
    Compare("Belmora",
            Seconds(File(titles + ",登録日時,最終更新日時\r\n", belmora_line),
                    [](auto& c, auto& path, auto& log, int* imported, int* errors) {
                        return c.ImportDBfromBelmoraFile(path, log, imported, errors, nullptr, nullptr, "0",
                                                         1);
                    }),
            plain_belmora);
}

}  // namespace measure
