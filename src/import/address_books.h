#pragma once

#include "import/field_source.h"
#include "import/foreign_import.h"

namespace customers {

// The address books of three programs. `direct_mail` decides element 21 for the whole file: 1 "Y" for all, 2
// "N" for all, 3 "Y" and any other "N" for new customers only.
class AddressBook : public ForeignImport {
  protected:
    AddressBook(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                FieldSource& source, Program const& program, int direct_mail)
        : ForeignImport(table, env, option, call, source, program), direct_mail_(direct_mail) {}
    void SetDirectMail() override;

  private:
    int const direct_mail_;
};

// An address book that an external program first converts into a table of quoted fields.
class FwaImport : public AddressBook {
  public:
    FwaImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
              CString const& converter, int direct_mail);

  private:
    static constexpr std::size_t titles = 13;

    bool LacksArgument() const override { return converter_.IsEmpty(); }
    int OpenBehindLog() override;
    void Close() override;
    bool HasAllFields() const override { return true; }
    std::span<Field const> Fields() const override;
    int ColumnOf(std::size_t field) const override;
    int AddressColumn() const override;
    char const* AddressTitle() const override;
    void TakeOwn(std::size_t field, std::string_view value) override;
    CString RefusedLine() const override;
    bool Convert();
    int FindTitles();

    CString const& converter_;
    CString work_file_;
    bool converted_ = false;
    RecordSource records_;
    int columns_[titles];
};

// Eleven fields to a line, without titles.
class BeckyImport : public AddressBook {
  public:
    BeckyImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                int direct_mail);

  private:
    int OpenBehindLog() override;
    bool HasAllFields() const override;
    std::span<Field const> Fields() const override;
    int ColumnOf(std::size_t field) const override;
    int AddressColumn() const override { return 0; }
    char const* AddressTitle() const override;
    CString RefusedLine() const override;

    LineSource lines_;
};

// Titles in any order; records may run over several lines.
class OutLookImport : public AddressBook {
  public:
    OutLookImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                  int direct_mail);

  private:
    static constexpr std::size_t titles = 12;

    int OpenAheadOfLog() override;
    int ReadTitles() override;
    bool HasAllFields() const override { return records_.Count() == title_count_; }
    std::span<Field const> Fields() const override;
    int ColumnOf(std::size_t field) const override;
    int AddressColumn() const override;
    char const* AddressTitle() const override;
    CString RefusedLine() const override;

    OutLookSource records_;
    int title_count_ = 0;
    int columns_[titles];
};

}  // namespace customers
