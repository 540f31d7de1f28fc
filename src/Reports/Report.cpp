// Descriptions of one session's report and of users.
#include "APIService/Iso8601.hpp"
#include "Reports/Describe.hpp"

namespace Velmor::Model {
namespace {

std::string label(std::string_view name) {
    if (name == "id") return "ID";
    if (name == "timeInRem") return "TimeInREM";
    return labelCapitalised(name);
}

constexpr DescriptionStyle kStyle{label, commaAndNewline, Iso8601::format};

}  // namespace

std::string Report::description() const {
    return describe(*this, kStyle);
}

std::string Session::description() const {
    return describe(*this, kStyle);
}

std::string Stat::description() const {
    return describe(*this, kStyle);
}

std::string User::description() const {
    return describe(*this, kStyle);
}

std::string SessionInfo::description() const {
    return describe(*this, kStyle);
}

std::string CreateSession::description() const {
    return describe(*this, kStyle);
}

std::string ErrorBody::description() const {
    return describe(*this, kStyle);
}

std::string UploadData::description() const {
    return "";
}

std::string CloseSession::description() const {
    return "";
}

std::string DeleteUser::description() const {
    return "";
}

}  // namespace Velmor::Model
