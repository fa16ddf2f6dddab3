#include <string>

#include <gtest/gtest.h>

#include "TestStreams.h"
#include "base/plat/AssertionFail.h"
#include "base/rdr/StateMachine.h"

namespace {

/// Reads pairs of a digit and that many bytes.
class Parser {
public:
  explicit Parser(rdr::InStream& source) : in(source) { machine.set(&Parser::readCount); }

  void run() {
    machine.run(*this, [this] {
      in.checkpoint();
      return --budget > 0;
    });
  }

  rdr::StateMachine<Parser> machine;
  std::string log;
  int budget = 100;

private:
  bool readCount() {
    log += 'c';
    if (!in.check(false)) {
      return false;
    }
    count = in.readU8() - '0';
    machine.set(&Parser::readBody);
    return true;
  }
  bool readBody() {
    log += 'b';
    std::string body(static_cast<std::size_t>(count), '\0');
    in.readFixed(body.data(), static_cast<std::uint32_t>(count));
    log += '<' + body + '>';
    machine.set(&Parser::readCount);
    return true;
  }

  rdr::InStream& in;
  int count = 0;
};

}  // namespace

TEST(StateMachine, runsAStateAgainThatWasInterrupted) {
  test::FedInStream in("2xy3a", -1);
  Parser parser(in);
  parser.run();
  EXPECT_EQ(parser.log, "cb<xy>cb");
  in.feed("b");
  parser.run();
  in.feed("c");
  parser.run();
  EXPECT_EQ(parser.log, "cb<xy>cbbb<abc>c");
}

TEST(StateMachine, stopsWhenToldTo) {
  test::FedInStream in("1a1b", -1);
  Parser parser(in);
  parser.budget = 2;
  parser.run();
  EXPECT_EQ(parser.log, "cb<a>");
}

TEST(StateMachine, needsAState) {
  test::FedInStream in;
  Parser parser(in);
  parser.machine.set(nullptr);
  EXPECT_EQ(test::raised([&] { parser.run(); }), "Assertion 'stateFn' failed at base/rdr/StateMachine:77");
}
