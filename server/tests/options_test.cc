#include "options.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

bool parse(std::vector<const char*> args, zv::ServerOptions& out, std::string& error) {
  args.insert(args.begin(), "zanvo-server");
  return zv::parse_options(static_cast<int>(args.size()), const_cast<char**>(args.data()), out, error);
}

auto limits(const zv::ServerOptions& o) {
  return std::tuple(o.login_max, o.login_timeout_ms, o.command_max, o.parameter_max, o.value_max, o.idle_timeout_ms,
                    o.max_links, o.name_max, o.kept_max);
}

// Every limit, and the address, which is a loopback one only.
TEST(ServerOptions, EachLimitAndTheHostHaveADefaultAnOptionAndABound) {
  zv::ServerOptions o;
  std::string error;
  EXPECT_EQ(limits(o), std::tuple(1024, 10000, 128 << 20, 64 << 20, 256 << 20, 600000, 256, 128, 64 << 20));
  EXPECT_EQ(o.host, "127.0.0.1");
  ASSERT_TRUE(parse({"--host", "127.0.0.3", "--login-max", "64", "--login-timeout", "1", "--command-max", "0", "--parameter-max", "5",
                     "--value-max", "1000000000", "--idle-timeout", "0", "--max-links", "1", "--name-max", "1",
                     "--kept-max", "0"},
                    o, error))
      << error;
  EXPECT_EQ(limits(o), std::tuple(64, 1, 0, 5, 1000000000, 0, 1, 1, 0));
  EXPECT_EQ(o.host, "127.0.0.3");
  for (auto [name, value] : {std::pair{"--login-max", "63"}, {"--login-timeout", "0"}, {"--command-max", "2147483648"},
                             {"--parameter-max", "-1"}, {"--value-max", "1000000001"}, {"--idle-timeout", "x"},
                             {"--max-links", "0"}, {"--name-max", "1048577"}, {"--kept-max", "-1"},
                             {"--host", "10.0.0.1"}, {"--host", "0.0.0.0"}, {"--host", "127.1"}, {"--host", "localhost"},
                             {"--host", "::1"}}) {
    EXPECT_FALSE(parse({name, value}, o, error)) << name;
    EXPECT_EQ(error, std::string("bad value for ") + name + ": " + value);
  }
}

}  // namespace
