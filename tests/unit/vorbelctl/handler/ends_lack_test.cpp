// What was asked for and did not come, in words.
#include <gtest/gtest.h>

#include "packets.h"
#include "vorbelctl/handler/ends.h"

namespace vorbelctl {
namespace {

using test::data;
using test::end_of_session;

struct Course {
  Receiver receiver;
  Progress progress{1000};
};

Course course_of(const std::vector<std::string>& packets, std::uint64_t first = 0) {
  ReceiverSettings settings;
  settings.session = make_session("BTDS000001");
  settings.first = first;
  Course course{make_receiver(settings)};
  for (const auto& packet : packets) {
    take_packet(course.receiver, packet, Channel::feed, 2000);
    note_packets(course.progress, course.receiver, 2000);
  }
  return course;
}

std::string lack(const Ends& ends, const Course& course) {
  return what_did_not_come(ends, course.progress, course.receiver, 4500);
}

TEST(Lack, IsNoneWhereNothingWasAskedFor) {
  EXPECT_EQ(lack({}, course_of({})), "");
  EXPECT_EQ(lack({}, course_of({data(1, 2)})), "");
}

TEST(Lack, OfMessagesIsCounted) {
  Ends ends;
  ends.messages = 3;
  EXPECT_EQ(lack(ends, course_of({data(1, 2)})),
            "2 of the 3 messages asked for came: the last message was #2, and the feed had been silent for 2.5 s");
  EXPECT_EQ(lack(ends, course_of({data(1, 3)})), "");
}

TEST(Lack, OfTheEndOfSessionNamesTheLastMessage) {
  Ends ends;
  ends.end_of_session = true;
  EXPECT_EQ(lack(ends, course_of({data(7, 9)})),
            "the end of session did not come: the last message was #9, and the feed had been silent for 2.5 s");
  EXPECT_EQ(lack(ends, course_of({data(7, 9), end_of_session(10)})), "");
}

TEST(Lack, OfTheStartIsNamedBeforeOthers) {
  Ends ends;
  ends.from = 50;
  ends.messages = 3;
  EXPECT_EQ(lack(ends, course_of({data(7, 9)}, 50)),
            "#50 did not come: no message came, and the feed had been silent for 2.5 s");
  EXPECT_EQ(lack(ends, course_of({data(50, 52)}, 50)), "");
}

TEST(Lack, WithoutAnySignCountsSilenceFromTheBeginning) {
  Ends ends;
  ends.end_of_session = true;
  EXPECT_EQ(lack(ends, course_of({})),
            "the end of session did not come: no message came, and the feed had been silent for 3.5 s");
}

TEST(End, ComesWithANewRunWhereOneIsFollowed) {
  Course course = course_of({data(1, 5), data(1, 2, "BTDS000001", "!")});
  tick(course.receiver, 4500);
  Ends ends;
  EXPECT_EQ(end_of(ends, course.progress, course.receiver, 4500), End::none);
  ends.one_run = true;
  EXPECT_EQ(end_of(ends, course.progress, course.receiver, 4500), End::began_again);
  EXPECT_EQ(end_name(End::began_again), "began again");
}

}  // namespace
}  // namespace vorbelctl
