#include "services/report_intake.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "common/clocks.h"
#include "common/text.h"
#include "common/text_line.h"
#include "trades/bonds.h"
#include "trades/trade.h"
#include "trades/trade_index.h"

namespace vorbeld {
namespace {

// Reads until the connection would block; false when it is at its end or failed.
bool receive_all(ReportConnection& connection, std::array<char, 4096>& buffer) {
  ssize_t received = 0;
  while ((received = recv(connection.descriptor, buffer.data(), buffer.size(), 0)) > 0) {
    connection.unframed.append(buffer.data(), static_cast<std::size_t>(received));
  }
  return received < 0 && errno == EAGAIN;
}

// The position of a reported trade's bond, which is added when the CUSIP is unknown.
std::uint32_t find_or_add_reported(const ReportIntake& intake, Universe& universe, const TradeInput& input) {
  if (const auto known = find_position(universe, input.cusip)) return *known;
  return find_or_add_bond(universe, input.cusip, input.symbol, intake.high_yield_cusips.contains(input.cusip));
}

void schedule_cancel(const ReportIntake& intake, const Engine& engine, std::uint64_t trade_id,
                     PendingAmendments& pending) {
  constexpr std::uint64_t delay_ms = 3000;
  if (intake.cancel_every == 0 || engine.counters.reports % intake.cancel_every != 0) return;
  pending.push_back({monotonic_ms() + delay_ms, Amendment::cancel, trade_id});
}

void send_reply(const ReportConnection& connection, std::string_view reply) {
  send(connection.descriptor, reply.data(), reply.size(), MSG_NOSIGNAL);
}

void handle_line(ReportIntake& intake, const ReportConnection& connection, std::string_view line, Engine& engine,
                 PendingAmendments& pending) {
  split(line, '|', intake.fields);
  if (!is_report(intake.fields)) {
    send_reply(connection, "E malformed\n");
    return;
  }
  const TradeInput input = read_report(intake.fields, intake.settlement, wall_ms());
  const std::uint32_t position = find_or_add_reported(intake, engine.universe, input);
  const std::uint64_t trade_id = disseminate_trade(engine, position, input);
  clear(intake.reply);
  append(intake.reply, "A ", TradeId{trade_id}, '\n');
  send_reply(connection, text(intake.reply));
  schedule_cancel(intake, engine, trade_id, pending);
}

void handle_lines(ReportIntake& intake, ReportConnection& connection, Engine& engine, PendingAmendments& pending) {
  const std::string_view received = connection.unframed;
  std::size_t begin = 0;
  for (std::size_t end = received.find('\n', connection.searched); end != std::string_view::npos;
       end = received.find('\n', begin)) {
    handle_line(intake, connection, received.substr(begin, end - begin), engine, pending);
    begin = end + 1;
  }
  connection.unframed.erase(0, begin);
  connection.searched = connection.unframed.size();
}

}  // namespace

void accept_reports(ReportIntake& intake) {
  const int no_delay = 1;
  for (int descriptor = accept(intake.listener, nullptr, nullptr); descriptor >= 0;
       descriptor = accept(intake.listener, nullptr, nullptr)) {
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &no_delay, sizeof no_delay);
    intake.open.emplace_back().descriptor = descriptor;
    ++intake.accepted;
  }
  intake.starved = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
}

void serve_reports(ReportIntake& intake, Engine& engine, PendingAmendments& pending) {
  bool any_closed = false;
  for (ReportConnection& connection : intake.open) {
    if (receive_all(connection, intake.buffer)) {
      handle_lines(intake, connection, engine, pending);
    } else {
      ::close(connection.descriptor);
      connection.descriptor = -1;
      any_closed = true;
    }
  }
  if (!any_closed) return;
  std::erase_if(intake.open, [](const ReportConnection& connection) { return connection.descriptor < 0; });
}

}  // namespace vorbeld
