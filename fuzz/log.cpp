// The log's two files and its shipments, against a model: whole lines, or what a fault left of them, each
// text once, bodies that are JSON.
#include "Input.hpp"
#include "Log/LogAPI.hpp"
#include "Runtime/Text.hpp"
#include "SessionService/SessionsService.hpp"
#include "tests/World.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

namespace Velmor::Fuzz {

class Scene {
  public:
    Scene() { restart(); }

    void step(Input& input) {
        const auto form = input.choice(6);
        if (form == 0) write(input.text(), input.text());
        if (form == 1) ship(input.text(), input.text());
        if (form == 2) world_.http->enqueueStatus(static_cast<int>(input.number(2) % 600), input.text());
        if (form == 3) world_.clock->stepWall(std::chrono::minutes(input.number(2) - 32'768));
        if (form == 4) restart();
        if (form != 5) return;
        faults_ = true;  // from now on lines may be missing
        const auto operation = static_cast<Testing::MemoryFiles::Operation>(input.choice(11));
        const auto nth = static_cast<std::size_t>(input.number(1));
        world_.files->addFault({.operation = operation, .nth = 1 + nth % 16, .keptBytes = nth / 16});
    }

  private:
    void restart() {
        service_.reset();
        log_ = std::make_shared<LogAPI>(world_.platform);
        service_ = SessionsService::make(world_.platform, log_);
        log_->setShip([this](LogAPI::Shipment text) {
            service_->requestAction.send({SessionsService::Request::log{
                std::move(text.config), std::move(text.sessionId), std::move(text.message)}});
        });
    }

    void write(const std::string& tag, const std::string& message) {
        const auto line =
            log_->logTimestamp(world_.clock->wallNow()) + " | I | " + tag + " | " + message + "\n";
        log_->log(LogAPI::Level::I, tag, message);
        if (!isUtf8(line)) return;
        lines_.insert(line);
        live_ += line;
        if (!faults_)
            require(world_.files->contents("/documents/VelmorSDK.log") == live_, "other lines", line);
    }

    void ship(const std::string& key, const std::string& user) {
        const auto before = world_.http->requestCount();
        std::optional<Config> config;
        try {
            config.emplace(key, user, Url::parse("https://api.test"));
        } catch (const PlatformError&) {
            return require(std::ranges::any_of(key + user, isControl) || !isUtf8(key) || !isUtf8(user),
                           "refused without a reason", key + user);
        }
        log_->uploadLog(*config, "session");
        world_.executor->runUntilIdle();
        const auto sent = world_.http->requests();
        const bool sendable = !live_.empty();
        if (!faults_) require(sent.size() - before == (sendable ? 1U : 0U), "not one request for one text");
        if (!faults_) require(world_.files->paths().empty(), "a text that was kept");
        if (sent.size() > before) requireBody(sent.back().body, ", userId:" + user + ", apikey:" + key);
        live_.clear();
    }

    void requireBody(const std::string& body, const std::string& tags) const {
        const auto json = nlohmann::json::parse(body);
        const auto& text = json.at("message").get_ref<const std::string&>();
        require(json.at("ddtags").get<std::string>().ends_with(", sessionId:session" + tags), "other tags",
                body);
        if (!faults_) return require(text == live_, "another text than the log's", text);
        for (std::string_view rest = text; !rest.empty();) {
            std::ptrdiff_t length = 0;  // the longest, as one line may begin another
            for (const auto& line : lines_)
                length = std::max(length, std::ranges::mismatch(rest, line).in1 - rest.begin());
            require(length > 0, "a line that nobody wrote", text);
            rest.remove_prefix(static_cast<std::size_t>(length));
            if (rest.starts_with("\xEF\xBF\xBD")) rest.remove_prefix(3);  // a torn line's torn character
            if (rest.starts_with('\n')) rest.remove_prefix(1);
        }
    }

    const World world_;
    std::shared_ptr<LogAPI> log_;
    std::shared_ptr<SessionsService> service_;
    std::string live_;
    std::set<std::string> lines_;
    bool faults_ = false;
};

void run(Input input) {
    Scene scene;
    while (!input.empty()) scene.step(input);
}

}  // namespace Velmor::Fuzz
