#include "vorbelctl/doors/report_port.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace vorbelctl {

void send_lines(ReportConnection& connection, std::uint64_t now_ms) {
  const ssize_t sent = send(connection.socket.number, connection.unsent.data(), connection.unsent.size(), MSG_NOSIGNAL);
  if (sent >= 0) {
    connection.unsent.erase(0, static_cast<std::size_t>(sent));
    connection.heard_ms = now_ms;
  } else if (errno != EAGAIN && errno != EINTR) {
    connection.lost = std::strerror(errno);
  }
}

std::vector<std::string> take_answers(ReportConnection& connection, std::uint64_t now_ms) {
  std::vector<std::string> answers;
  std::array<char, 65536> chunk;
  const ssize_t length = recv(connection.socket.number, chunk.data(), chunk.size(), 0);
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return answers;
  if (length <= 0) {
    connection.lost = length == 0 ? "the bench closed it" : std::strerror(errno);
    return answers;
  }
  connection.heard_ms = now_ms;
  connection.unread.append(chunk.data(), static_cast<std::size_t>(length));
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = connection.unread.find('\n', begin)) != std::string::npos; begin = end + 1) {
    if (end - begin > longest_answer) break;
    answers.push_back(connection.unread.substr(begin, end - begin));
  }
  connection.unread.erase(0, begin);
  if (connection.unread.size() > longest_answer) connection.lost = "what comes from there is no answer";
  return answers;
}

}  // namespace vorbelctl
