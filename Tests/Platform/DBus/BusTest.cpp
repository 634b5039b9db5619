#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "Platform/Linux/DBus/BusConnection.h"
#include "Platform/Linux/DBus/BusDispatcher.h"
#include "Platform/Linux/DBus/BusError.h"
#include "Platform/Linux/DBus/BusObject.h"
#include "Tests/Support/Doubles/BusThread.h"
#include "Tests/Support/Doubles/ManualDescriptorWatcher.h"
#include "Tests/Support/Machine/PrivateBus.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/OwnedDescriptor.h"

namespace tolvander::tests {

using platform::linux_::BusCall;
using platform::linux_::BusConnection;
using platform::linux_::BusDispatcher;
using platform::linux_::BusError;
using platform::linux_::BusMethod;
using platform::linux_::busMethod;
using platform::linux_::BusObject;
using platform::linux_::BusVariant;
using platform::linux_::ObjectPath;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;
using Properties = std::map<std::string, BusVariant>;

constexpr const char* name = "com.tolvander.Test";
constexpr auto longEnough = 60s;
constexpr auto muchShorter = 15s;  // than what sd-bus waits by itself, 25 s and more

// The name of the error that the action fails with; empty when it succeeds.
std::string errorOf(const std::function<void()>& action) {
  try {
    action();
    return {};
  } catch (const BusError& error) {
    return error.name();
  }
}

std::string standardError(const std::string& error) { return "org.freedesktop.DBus.Error." + error; }

template <typename T>
BusMethod echo(const std::string& method) {
  return busMethod(method, [](const T& value) { return value; });
}

BusCall callOf(const std::string& method) {
  return {.service = name, .path = {"/object"}, .interface = name, .method = method, .timeout = longEnough};
}

// A service with one object.
class Service {
 public:
  Service(const std::string& address, std::vector<BusMethod> methods)
      : connection_(BusConnection::toBusAt(address, longEnough)),
        object_(connection_, {"/object"}, name, std::move(methods)) {
    connection_.requestName(name);
  }

  void beginToAnswer() { thread_.emplace(connection_); }

  const BusConnection& connection() const { return connection_; }

 private:
  BusConnection connection_;
  BusObject object_;
  std::optional<BusThread> thread_;
};

class BusTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = PrivateBus::reasonAgainst()) {
      GTEST_SKIP() << "needs " << *reason;
    }
    bus_.emplace();
  }

  std::string address() const { return bus_->address(); }
  BusConnection connect() const { return BusConnection::toBusAt(address(), longEnough); }

  void serve(std::vector<BusMethod> methods) {
    service_.emplace(address(), std::move(methods));
    service_->beginToAnswer();
  }

  // What comes back from a method that returns its argument.
  template <typename T>
  T echoed(const T& value) {
    serve({echo<T>("Echo")});
    return connect().call<T>(callOf("Echo"), value);
  }

  std::optional<PrivateBus> bus_;
  std::optional<Service> service_;
};

}  // namespace

TEST_F(BusTest, carriesSingleValues) {
  EXPECT_EQ(echoed(true), true);
  EXPECT_EQ(echoed(false), false);
  EXPECT_EQ(echoed<std::uint8_t>(255), 255);
  EXPECT_EQ(echoed<std::int32_t>(-1), -1);
  EXPECT_EQ(echoed<std::uint32_t>(4'294'967'295U), 4'294'967'295U);
  EXPECT_EQ(echoed<std::string>("café"), "café");
  EXPECT_EQ(echoed<std::string>(""), "");
  EXPECT_EQ(echoed(ObjectPath{"/a/b"}), ObjectPath{"/a/b"});
}

TEST_F(BusTest, carriesArraysAndDictionaries) {
  EXPECT_EQ(echoed(std::vector<std::string>()), std::vector<std::string>());
  EXPECT_EQ(echoed(std::vector<std::string>{"a", "b"}), (std::vector<std::string>{"a", "b"}));
  const std::map<ObjectPath, std::map<std::string, std::vector<ObjectPath>>> nested = {
      {{"/a"}, {{"x", {{"/b"}, {"/c"}}}, {"y", {}}}}, {{"/d"}, {}}};
  EXPECT_EQ(echoed(nested), nested);
}

TEST_F(BusTest, carriesValuesWithTheirType) {
  EXPECT_TRUE(echoed(BusVariant(true)).get<bool>());
  EXPECT_EQ(echoed(BusVariant(std::string("text"))).get<std::string>(), "text");
  EXPECT_EQ(echoed(BusVariant(ObjectPath{"/a"})).get<ObjectPath>(), ObjectPath{"/a"});
  const std::vector<Bytes> lists = {{1, 2}, {}, {255}};
  EXPECT_EQ(echoed(BusVariant(lists)).get<std::vector<Bytes>>(), lists);
  const Properties read = echoed(Properties{{"a", BusVariant(true)}, {"b", BusVariant(std::string("text"))}});
  EXPECT_TRUE(read.at("a").get<bool>());
  EXPECT_EQ(read.at("b").get<std::string>(), "text");
}

TEST_F(BusTest, passesOverValuesOfOtherTypes) {
  BusConnection connection = connect();
  const auto credentials = connection.call<Properties>({.service = "org.freedesktop.DBus",
                                                        .path = {"/org/freedesktop/DBus"},
                                                        .interface = "org.freedesktop.DBus",
                                                        .method = "GetConnectionCredentials",
                                                        .timeout = longEnough},
                                                       std::string("org.freedesktop.DBus"));
  const BusVariant& user = credentials.at("UnixUserID");  // an integer
  EXPECT_TRUE(std::holds_alternative<std::monostate>(user.value()));
  EXPECT_EQ(errorOf([&] { user.get<bool>(); }), standardError("InvalidSignature"));
}

TEST_F(BusTest, callsMethodsWithAnyNumberOfArguments) {
  std::string received;
  serve({busMethod("Nothing", [&] { received = "nothing"; }),
         busMethod("Two", [&](std::uint32_t number, const std::string& text) {
           received = std::to_string(number) + text;
           return number + 1;
         })});
  BusConnection connection = connect();
  connection.call(callOf("Nothing"));
  EXPECT_EQ(received, "nothing");
  EXPECT_EQ(connection.call<std::uint32_t>(callOf("Two"), std::uint32_t{7}, std::string(" dwarfs")), 8U);
  EXPECT_EQ(received, "7 dwarfs");
}

TEST_F(BusTest, answersWithMoreThanASocketTakesAtOnce) {
  const std::string text(1'000'000, 'x');
  service_.emplace(address(), std::vector{busMethod("Text", [&] { return text; })});
  const int smallest = 1;  // the kernel makes it a few thousand bytes
  const int socket = sd_bus_get_fd(service_->connection().handle());
  ASSERT_EQ(setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest), 0);
  service_->beginToAnswer();
  EXPECT_EQ(connect().call<std::string>(callOf("Text")), text);
}

// Errors

TEST_F(BusTest, givesTheErrorThatAServiceAnswersWith) {
  serve({busMethod("Own", [] { throw BusError("com.tolvander.Test.Error.Full", "no room"); }),
         busMethod("Other", [] { throw std::runtime_error("of the standard library"); }),
         busMethod("Strange", [] { throw 1; })});
  BusConnection connection = connect();
  try {
    connection.call(callOf("Own"));
    FAIL() << "succeeded";
  } catch (const BusError& error) {
    EXPECT_EQ(error.name(), "com.tolvander.Test.Error.Full");
    EXPECT_EQ(error.text(), "no room");
  }
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Other")); }), standardError("Failed"));
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Strange")); }), standardError("Failed"));
}

TEST_F(BusTest, saysWhatIsMissing) {
  BusConnection connection = connect();
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Nothing")); }), standardError("ServiceUnknown"));
  serve({busMethod("Nothing", [] {})});
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Other")); }), standardError("UnknownMethod"));
  BusCall elsewhere = callOf("Nothing");
  elsewhere.path = {"/elsewhere"};
  EXPECT_EQ(errorOf([&] { connection.call(elsewhere); }), standardError("UnknownObject"));
}

TEST_F(BusTest, refusesArgumentsAndResultsOfOtherTypes) {
  serve({echo<std::string>("Echo")});
  BusConnection connection = connect();
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Echo"), std::uint32_t{1}); }),
            standardError("InvalidArgs"));
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Echo")); }), standardError("InvalidArgs"));
  EXPECT_EQ(errorOf([&] { connection.call<bool>(callOf("Echo"), std::string("true")); }),
            standardError("InvalidSignature"));
}

TEST_F(BusTest, sendsNothingOverWhichTheBusWouldEndTheConnection) {
  serve({echo<std::string>("Echo"), echo<ObjectPath>("EchoPath"), echo<BusVariant>("EchoVariant")});
  BusConnection connection = connect();
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Echo"), std::string("caf\xE9")); }),
            standardError("InvalidArgs"));
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Echo"), std::string("a\0b", 3)); }),
            standardError("InvalidArgs"));
  EXPECT_EQ(errorOf([&] { connection.call(callOf("EchoPath"), ObjectPath{"no path"}); }),
            standardError("InvalidArgs"));
  EXPECT_EQ(errorOf([&] { connection.call(callOf("EchoVariant"), BusVariant()); }),
            standardError("InvalidArgs"));
  EXPECT_EQ(connection.call<std::string>(callOf("Echo"), std::string("text")), "text");
}

TEST_F(BusTest, refusesMalformedNames) {
  BusConnection connection = connect();
  EXPECT_EQ(errorOf([&] { connection.call(callOf("no name")); }), standardError("InvalidArgs"));
  EXPECT_EQ(errorOf([&] { connection.requestName("no name"); }), standardError("InvalidArgs"));
  EXPECT_EQ(errorOf([&] { const BusObject object(connection, {"no path"}, name, {}); }),
            standardError("InvalidArgs"));
  EXPECT_EQ(errorOf([&] { const BusObject object(connection, {"/"}, name, {busMethod("no name", [] {})}); }),
            standardError("InvalidArgs"));
}

TEST_F(BusTest, givesANameToOneOwnerOnly) {
  BusConnection first = connect();
  BusConnection second = connect();
  first.requestName(name);
  EXPECT_EQ(errorOf([&] { second.requestName(name); }), standardError("FileExists"));
}

// Time

TEST_F(BusTest, waitsForAnAnswerAsLongAsItIsToldTo) {
  Service silent(address(), {busMethod("Nothing", [] {})});
  BusConnection connection = connect();
  BusCall hurried = callOf("Nothing");
  hurried.timeout = 20ms;
  const auto start = Clock::now();
  EXPECT_EQ(errorOf([&] { connection.call(hurried); }), standardError("Timeout"));
  EXPECT_LT(Clock::now() - start, muchShorter);
  silent.beginToAnswer();
  EXPECT_EQ(errorOf([&] { connection.call(callOf("Nothing")); }), "")
      << "the connection is as good as before";
}

TEST(BusConnection, waitsForABusThatAcceptsNothingAsLongAsItIsToldTo) {
  const TemporaryFolder folder;
  const std::string path = (folder / "bus").path();
  sockaddr_un place{};
  place.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof place.sun_path);
  std::memcpy(place.sun_path, path.data(), path.size());
  const OwnedDescriptor listening(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(bind(listening.number(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
  ASSERT_EQ(listen(listening.number(), 1), 0);
  const auto start = Clock::now();
  EXPECT_EQ(errorOf([&] { BusConnection::toBusAt("unix:path=" + path, 20ms); }), standardError("Timeout"));
  EXPECT_LT(Clock::now() - start, muchShorter);
}

// A bus that isn't there, or no longer

TEST(BusConnection, failsWhereThereIsNoBus) {
  const TemporaryFolder folder;
  EXPECT_EQ(errorOf([&] { BusConnection::toBusAt("unix:path=" + (folder / "no-bus").path(), longEnough); }),
            standardError("FileNotFound"));
}

TEST_F(BusTest, failsEveryCallOnceTheBusHasEnded) {
  serve({busMethod("Nothing", [] {})});
  BusConnection connection = connect();
  connection.call(callOf("Nothing"));
  bus_->stop();
  EXPECT_NE(errorOf([&] { connection.call(callOf("Nothing")); }), "");
  bus_->start();
  EXPECT_NE(errorOf([&] { connection.call(callOf("Nothing")); }), "");
  EXPECT_EQ(errorOf([&] { connect(); }), "");
}

TEST_F(BusTest, isNoLongerWatchedOnceItHasEnded) {
  Service service(address(), {});
  ManualDescriptorWatcher watcher;
  const BusDispatcher dispatcher(service.connection(), watcher);
  EXPECT_TRUE(watcher.isWatching());
  bus_->stop();
  watcher.report();
  EXPECT_FALSE(watcher.isWatching());
}

}  // namespace tolvander::tests
