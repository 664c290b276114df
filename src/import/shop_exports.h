#pragma once

#include "import/field_source.h"
#include "import/foreign_import.h"
#include "tessaly/platform/ole_date_time.h"

namespace customers {

// The customers of two shop programs. `duplicate` decides about a known customer: "2" keeps the stored
// values, "0" keeps them if they were changed here after the date in the line, any other replaces them.
//
// Under "0" a line without a date counts as older than the stored values, and is logged as such.
class ShopExport : public ForeignImport {
  protected:
    ShopExport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
               FieldSource& source, Program const& program, CString const& duplicate)
        : ForeignImport(table, env, option, call, source, program), duplicate_(duplicate) {}
    // A new customer starts without direct mail; the line's field decides.
    void SetDirectMail() override { date_.SetStatus(COleDateTime::null); }
    bool LeavesAlone() override;
    CString RefusedLine() const override { return LogLine(Reason() + "ためインポート出来ませんでした。\n"); }

    // "LINE行目のお客様(TITLE:FIELD)は、REST".
    CString LogLine(CString const& rest) const;
    // The field that identifies the customer in the log.
    virtual char const* NamingTitle() const = 0;
    virtual std::string_view NamingField() const = 0;
    // Converts a date of at least `parts` parts into its stored form; false adds a reason to the line.
    bool TakeDate(char const* title, std::string_view value, int parts, CString& date);
    void SetComparisonDate(CString const& date);
    // Assigns "Y" or "N" by two texts of the file, an empty field being "Y".
    void TakeChoice(char const* title, std::string_view value, char const* yes, char const* no);

    CString duplicate_;

  private:
    COleDateTime date_;
};

class CorvaneImport : public ShopExport {
  public:
    CorvaneImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                  CString const& duplicate);

  private:
    static constexpr std::size_t titles = 14;

    int OpenBehindLog() override;
    int ReadTitles() override;
    void Close() override { records_.Close(); }
    bool HasAllFields() const override { return records_.Count() == fields_wanted_; }
    std::span<Field const> Fields() const override;
    int ColumnOf(std::size_t field) const override;
    int AddressColumn() const override;
    char const* AddressTitle() const override;
    void TakeOwn(std::size_t field, std::string_view value) override;
    char const* NamingTitle() const override;
    std::string_view NamingField() const override;
    int AskWithoutDates();

    RecordSource records_;
    int columns_[titles];
    int fields_wanted_ = titles;
};

// The file's own titles name 19 of its columns, which go into the attributes A to S.
class BelmoraImport : public ShopExport {
  public:
    BelmoraImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                  CString const& duplicate, bool rewrite_attributes);

    // Checks a value by the type of an attribute, and gives its stored form.
    static bool CheckAttribute(CString const& value, int type, CString& out);

  private:
    static constexpr std::size_t titles = 37;

    int OpenAheadOfLog() override;
    int ReadTitles() override;
    bool HasAllFields() const override { return lines_.Count() == static_cast<int>(titles); }
    std::span<Field const> Fields() const override;
    int ColumnOf(std::size_t field) const override;
    char const* TitleOf(std::size_t field) const override { return titles_[field]; }
    int AddressColumn() const override;
    char const* AddressTitle() const override;
    void TakeOwn(std::size_t field, std::string_view value) override;
    char const* NamingTitle() const override { return AddressTitle(); }
    std::string_view NamingField() const override { return FieldAt(AddressColumn()); }
    int FindTitles();
    void RewriteAttributes();
    int TestAttributes();
    void SetCell(int cell, CString value);
    void TakeDay(std::size_t field, std::string_view value);
    void TakeWish(std::size_t field, std::string_view value);
    void TakeNumber(std::size_t field, std::string_view value);
    void TakeFree(std::size_t field, std::string_view value);
    void TakeEntryDate(std::size_t field, std::string_view value);
    void TakeRenewalDate(std::size_t field, std::string_view value);

    bool const rewrite_attributes_;
    LineSource lines_;
    CString titles_[titles];
    int columns_[titles];
    int free_types_[10] = {};  // of the attributes G to P
};

}  // namespace customers
