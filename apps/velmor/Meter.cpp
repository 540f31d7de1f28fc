#include "Meter.hpp"

#include <utility>

namespace VelmorApp {
namespace {

// One request's share of the count; it is given back once.
class Ticket {
  public:
    explicit Ticket(std::shared_ptr<std::atomic<std::size_t>> count) : count_(std::move(count)) { ++*count_; }
    ~Ticket() { end(); }
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;

    void end() {
        if (!ended_.exchange(true)) --*count_;
    }
    void giveUp() {
        givenUp_ = true;
        end();
    }
    bool givenUp() const { return givenUp_; }

  private:
    const std::shared_ptr<std::atomic<std::size_t>> count_;
    std::atomic<bool> ended_{false};
    std::atomic<bool> givenUp_{false};
};

class Exchange : public Velmor::HttpExchange {
  public:
    explicit Exchange(std::shared_ptr<Ticket> ticket) : ticket_(std::move(ticket)) {}
    ~Exchange() override {
        inner.reset();
        ticket_->giveUp();
    }

    std::unique_ptr<Velmor::HttpExchange> inner;

  private:
    const std::shared_ptr<Ticket> ticket_;
};

}  // namespace

Meter::Meter(std::shared_ptr<Velmor::HttpTransport> transport, std::shared_ptr<Velmor::Executor> deliver)
    : transport_(std::move(transport)), deliver_(std::move(deliver)) {}

std::unique_ptr<Velmor::HttpExchange> Meter::send(Velmor::HttpRequest request, Completion completion) {
    const auto ticket = std::make_shared<Ticket>(underWay_);
    auto exchange = std::make_unique<Exchange>(ticket);
    const auto tell = std::make_shared<Completion>(std::move(completion));
    exchange->inner =
        transport_->send(std::move(request), [ticket, tell, deliver = deliver_](Velmor::HttpResult result) {
            if (deliver)
                deliver->post([ticket, tell, result = std::move(result)]() mutable {
                    if (!ticket->givenUp()) (*tell)(std::move(result));
                });
            else
                (*tell)(std::move(result));
            ticket->end();
        });
    return exchange;
}

}  // namespace VelmorApp
