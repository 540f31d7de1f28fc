#include "APIService/Iso8601.hpp"
#include "Records.hpp"

#include <array>
#include <charconv>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace Velmor {
namespace {

using testing::StartsWith;

struct Field {
    std::string type, key;
    bool isOptional;
};

/// Of a table such as "Int? sleep_latency wakeup_latency Date sleep_time": a type, then the keys that have
/// it.
std::vector<Field> fieldsOf(const char* table) {
    std::istringstream words(table);
    std::vector<Field> fields;
    std::string type;
    for (std::string word; words >> word;) {
        if (word[0] >= 'A' && word[0] <= 'Z')
            type = word;
        else
            fields.push_back({type.substr(0, type.find('?')), word, type.ends_with('?')});
    }
    return fields;
}

/// A value in JSON that no other type takes, and no other field has: numbers past 32 bit and fractions.
std::string sample(const std::string& type, std::size_t place) {
    const auto number = std::to_string(place);
    const auto two = (place < 10 ? "0" : "") + number;
    if (type == "Int") return std::to_string(4'294'967'296 + place);
    if (type == "Float") return number + ".25";
    if (type == "Date") return "\"2024-03-05T23:10:" + two + "Z\"";
    if (type == "Day") return "\"2024-03-" + two + "\"";
    if (type == "Ints") return "[4294967296,-" + number + "]";
    if (type == "Dates") return "[\"0001-01-01T00:00:00Z\",\"9999-12-31T23:59:" + two + "Z\"]";
    if (type == "State") return "\"COMPLETE\"";
    if (type == "BreathingPattern") return "\"SEVERELY_UNSTABLE_BREATH\"";
    return "\"text " + number + "\"";
}

std::string inQuotes(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

template <class T>
std::string textOf(const T& value) {
    if constexpr (std::is_same_v<T, std::int64_t> || std::is_same_v<T, float>) {
        std::array<char, 32> digits{};
        return {digits.data(), std::to_chars(digits.begin(), digits.end(), value).ptr};
    } else if constexpr (std::is_same_v<T, Model::Date>) {
        return inQuotes(Iso8601::format(value));
    } else if constexpr (std::is_same_v<T, Model::Day>) {
        return inQuotes(Iso8601::formatDay(value));
    } else if constexpr (std::is_enum_v<T>) {
        return inQuotes(rawValue(value));
    } else if constexpr (requires { value.has_value(); }) {
        return value ? textOf(*value) : "null";
    } else if constexpr (std::is_same_v<T, std::string>) {
        return inQuotes(value);
    } else {
        std::string list;
        for (const auto& element : value) list += (list.empty() ? "[" : ",") + textOf(element);
        return list + "]";
    }
}

template <class T>
std::vector<std::string> textsOf(const T& record) {
    std::vector<std::string> texts;
    Fields<T>::each([&](const char*, auto member) { texts.push_back(textOf(record.*member)); });
    return texts;
}

std::string objectOf(const std::vector<Field>& fields, const std::vector<std::string>& values) {
    std::string text;
    for (std::size_t i = 0; i < fields.size(); ++i)
        if (!values[i].empty())
            text += (text.empty() ? "{" : ",") + inQuotes(fields[i].key) + ":" + values[i];
    return text + "}";
}

/// Reads the record with every field present, then with each null and missing in turn.
template <class T>
void expectFields(const char* table) {
    const auto fields = fieldsOf(table);
    std::vector<std::string> values;
    for (const auto& field : fields) values.push_back(sample(field.type, values.size() + 1));
    EXPECT_EQ(textsOf(read<T>(objectOf(fields, values))), values);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        for (const char* gap : {"null", ""}) {
            auto given = values;
            given[i] = gap;
            const auto text = objectOf(fields, given);
            const auto place = "cannot decode result." + fields[i].key;
            if (!fields[i].isOptional) {
                const auto* reason = given[i].empty() ? ": is missing" : ": expected ";
                EXPECT_THAT(readError<T>(text), StartsWith(place + reason));
                continue;
            }
            given[i] = "null";
            EXPECT_EQ(textsOf(read<T>(text)), given) << fields[i].key;
        }
    }
}

TEST(Records, EveryFieldIsReadAsItsTypeAndMayBeAbsentOrNot) {
    expectFields<Model::Session>(
        "String id State state Date start_time Date? end_time unexpected_end_time String created_timezone "
        "Ints? sleep_stages breath_stages snoring_stages");
    expectFields<Model::Stat>(
        "Int? sleep_latency wakeup_latency Date? sleep_time wake_time Int? light_latency deep_latency "
        "rem_latency time_in_wake time_in_sleep time_in_bed time_in_sleep_period time_in_rem time_in_light "
        "time_in_deep time_in_stable_breath time_in_unstable_breath time_in_snoring time_in_no_snoring "
        "Float? sleep_efficiency wake_ratio sleep_ratio rem_ratio light_ratio deep_ratio stable_breath_ratio "
        "unstable_breath_ratio snoring_ratio no_snoring_ratio Int? unstable_breath_count "
        "BreathingPattern? breathing_pattern Float? breathing_index Int? sleep_cycle sleep_cycle_count "
        "Dates? sleep_cycle_time Int? waso_count longest_waso sleep_index snoring_count");
    expectFields<Model::SleepSession>(
        "String session_id State state Date session_start_time Date? session_end_time String "
        "created_timezone "
        "Date? unexpected_end_time Int? last_received_seq_num time_in_bed");
    expectFields<Model::Period>("String timezone Day start_date end_date");
    expectFields<Model::AverageStats>(
        "String start_time end_time sleep_time wake_time Int sleep_latency wakeup_latency time_in_bed "
        "time_in_sleep_period time_in_sleep time_in_wake Int? time_in_light time_in_deep time_in_rem "
        "time_in_stable_breath time_in_unstable_breath time_in_snoring time_in_no_snoring "
        "Float sleep_efficiency wake_ratio sleep_ratio Float? light_ratio deep_ratio rem_ratio "
        "stable_breath_ratio unstable_breath_ratio snoring_ratio no_snoring_ratio breathing_index "
        "Int? waso_count longest_waso unstable_breath_count sleep_cycle_count snoring_count");
    expectFields<Model::NeverSleptSession>("String id Date start_time end_time completed_time");
    expectFields<Model::SleptSession>(
        "String id created_timezone Date start_time end_time completed_time Float sleep_efficiency "
        "Int? sleep_latency wakeup_latency light_latency deep_latency rem_latency Date? sleep_time wake_time "
        "Int time_in_wake time_in_sleep_period time_in_sleep time_in_bed Int? time_in_rem time_in_light "
        "time_in_deep time_in_stable_breath time_in_unstable_breath time_in_snoring time_in_no_snoring "
        "Float wake_ratio sleep_ratio Float? rem_ratio light_ratio deep_ratio stable_breath_ratio "
        "unstable_breath_ratio snoring_ratio no_snoring_ratio Int? unstable_breath_count "
        "BreathingPattern? breathing_pattern Float? breathing_index Int? sleep_cycle sleep_cycle_count "
        "waso_count longest_waso snoring_count");
}

template <class Enumeration>
void expectTexts(const std::vector<std::pair<Enumeration, const char*>>& rows) {
    for (const auto& [value, text] : rows) {
        EXPECT_EQ(rawValue(value), text);
        EXPECT_EQ(Model::fromRawValue<Enumeration>(text), value);
        EXPECT_FALSE(Model::fromRawValue<Enumeration>(text + std::string("_")));
        EXPECT_FALSE(Model::fromRawValue<Enumeration>(text + 1));
    }
    EXPECT_FALSE(Model::fromRawValue<Enumeration>(""));
}

TEST(Records, EveryCaseOfAnEnumerationHasItsText) {
    expectTexts<Model::State>({{Model::State::open, "OPEN"},
                               {Model::State::closed, "CLOSED"},
                               {Model::State::complete, "COMPLETE"}});
    using P = Model::Peculiarity;
    expectTexts<P>({{P::inProgress, "IN_PROGRESS"},
                    {P::neverSlept, "NEVER_SLEPT"},
                    {P::tooShortForAnalysis, "TOO_SHORT_FOR_ANALYSIS"},
                    {P::tooLongForAnalysis, "TOO_LONG_FOR_ANALYSIS"},
                    {P::tooManyDefectsInSleepStages, "TOO_MANY_DEFECTS_IN_SLEEP_STAGES"},
                    {P::noBreathingStability, "NO_BREATHING_STABILITY"},
                    {P::noRealtimePolling, "NO_REALTIME_POLLING"}});
    using B = Model::BreathingPattern;
    expectTexts<B>({{B::stableBreath, "STABLE_BREATH"},
                    {B::mildlyUnstableBreath, "MILDLY_UNSTABLE_BREATH"},
                    {B::moderatelyUnstableBreath, "MODERATELY_UNSTABLE_BREATH"},
                    {B::severelyUnstableBreath, "SEVERELY_UNSTABLE_BREATH"}});
    expectTexts<Model::OrderBy>({{Model::OrderBy::ascending, "ASC"}, {Model::OrderBy::descending, "DESC"}});
}

TEST(Records, MayLackWhatThereIsNotYet) {
    EXPECT_FALSE(read<Model::Report>(changed(kReportJson, "\"stat\"", "\"other\"")).stat);
    EXPECT_EQ(read<Model::ReportList>(kListJson).timezone, "UTC");
    const auto bare = read<Model::AverageReport>(
        R"({"period":{"timezone":"","start_date":"2024-01-01","end_date":"2024-01-01"},)"
        R"("peculiarities":[],"never_slept_sessions":[],"slept_sessions":[]})");
    EXPECT_FALSE(bare.averageStats);
    EXPECT_THAT(bare.neverSleptSessions, testing::IsEmpty());
    EXPECT_THAT(bare.sleptSessions, testing::IsEmpty());
}

TEST(Records, ErrorsNameThePlace) {
    const std::vector<std::tuple<const char*, const char*, const char*>> reports{
        {"\"timezone\"", "\"zone\"", "cannot decode result.timezone: is missing"},
        {"\"Asia/Seoul\"", "null", "cannot decode result.timezone: expected a string, found null"},
        {"0.25", "\"0.25\"", "cannot decode result.missing_data_ratio: expected a number, found a string"},
        {"NO_REALTIME_POLLING", "SLEPT",
         "cannot decode result.peculiarities[1]: has an unknown value: \"SLEPT\""},
        {"CLOSED", "closed", "cannot decode result.session.state: has an unknown value: \"closed\""},
        {"-1]", "1.5]",
         "cannot decode result.session.sleep_stages[2]: expected an integer, found a fraction"},
        {"2024-03-05T23:20:00Z", "yesterday",
         "cannot decode result.stat.sleep_time: is no date: \"yesterday\""},
        {"2024-03-06T01:30:00Z", "2024-03-06",
         "cannot decode result.stat.sleep_cycle_time[1]: is no date: \"2024-03-06\""},
        {"{\"id\"", "[{\"id\"", "cannot decode: not JSON at byte"}};
    for (const auto& [from, to, expected] : reports)
        EXPECT_THAT(readError<Model::Report>(changed(kReportJson, from, to)), StartsWith(expected));
    EXPECT_EQ(readError<Model::ReportList>(changed(kListJson, "\"OPEN\"", "7")),
              "cannot decode result.sleep_session_list[1].state: expected a string, found an integer");
    EXPECT_EQ(readError<Model::AverageReport>(changed(kAverageJson, "2024-02-29", "2024-02-29T00:00:00Z")),
              "cannot decode result.period.start_date: is no day: \"2024-02-29T00:00:00Z\"");
    EXPECT_EQ(readError<Model::AverageReport>(changed(kAverageJson, "\"wake_ratio\"", "\"w\"")),
              "cannot decode result.average_stats.wake_ratio: is missing");
    EXPECT_EQ(readError<Model::Session>("{}"), "cannot decode result.id: is missing");
    EXPECT_EQ(
        readError<Model::Report>(changed(kReportJson, "CLOSED", std::string(59, 'x') + "\xC3\xA9tail")),
        "cannot decode result.session.state: has an unknown value: \"" + std::string(59, 'x') + "...\"");
}

}  // namespace
}  // namespace Velmor
