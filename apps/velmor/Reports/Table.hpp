// Text in columns, and the labels and values of records for a person.
#pragma once

#include "APIService/Fields.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <Velmor/Model.hpp>

namespace VelmorApp {

/// Columns as wide as their widest cell, two blanks apart. Widths count letters, not bytes.
class Table {
  public:
    void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    bool empty() const { return rows_.empty(); }
    std::string str() const;

  private:
    std::vector<std::vector<std::string>> rows_;
};

/// "time in REM" of "timeInRem".
std::string labelOf(std::string_view field);

/// A field's value as a person reads it; what it measures shows in its name: seconds as "1 h 05 min", shares
/// in percent.
std::string valueText(std::string_view field, std::int64_t value);
std::string valueText(std::string_view field, float value);
std::string valueText(std::string_view field, const std::string& value);
std::string valueText(std::string_view field, Velmor::Model::Date value);
std::string valueText(std::string_view field, Velmor::Model::BreathingPattern value);
std::string valueText(std::string_view field, const std::vector<Velmor::Model::Date>& values);

/// Nothing for an absent value.
template <class T>
std::string valueText(std::string_view field, const std::optional<T>& value) {
    return value ? valueText(field, *value) : std::string();
}

/// One row for each field that is there.
template <Velmor::Record R>
Table fieldTable(const R& record) {
    Table table;
    Velmor::Fields<R>::each([&](const char* name, auto member) {
        if (std::string text = valueText(name, record.*member); !text.empty())
            table.add({"  " + labelOf(name), std::move(text)});
    });
    return table;
}

}  // namespace VelmorApp
