#include "world.hpp"

namespace ostdrv::test {
namespace {

using Calls = std::vector<std::string>;

const std::string line7 = "/sys/class/gpio/gpio7";
const std::string asks = "access(" + line7 + ")";

std::string opens(const char *attribute) { return "open(" + line7 + attribute + ")"; }

class Lines : public World {
 public:
    int value = -99;

    void SetUp() override { EXPECT_EQ(x_gpio_util_export(7), 0); }
    void put_attribute(const std::string &attribute, std::string_view text) const {
        board.put(line7 + "/" + attribute, text);
    }
    std::string attribute(const std::string &name) const { return board.get(line7 + "/" + name).value_or("missing"); }
};

TEST_F(Lines, MakeExactlyTheseSystemCalls) {
    const Calls get_direction{asks, opens("/direction"), "read(1)", "close()"};
    const Calls know_direction{asks, asks, opens("/direction"), "read(1)", "close()"};
    const auto then = [](Calls first, const Calls &second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    };
    const auto writes = [](const char *attribute, const std::string &text) {
        return Calls{opens(attribute), "write(" + std::to_string(text.size()) + " '" + text + "')", "close()"};
    };
    const struct {
        std::function<int()> call;
        Calls calls;
    } cases[] = {
        {[] { return x_gpio_util_export(7); }, {asks}},
        {[] { return x_gpio_util_export(12); },
         {"access(/sys/class/gpio/gpio12)", "open(/sys/class/gpio/export)", "write(2 '12')", "close()"}},
        {[&] { return x_gpio_util_get_direction(7, &value); }, get_direction},
        {[] { return x_gpio_util_direction(7, 0); }, know_direction},
        {[] { return x_gpio_util_direction(7, 1); }, then(know_direction, writes("/direction", "out"))},
        {[] { return x_gpio_util_direction(7, 1); }, know_direction},
        {[] { return x_gpio_util_direction(7, 2); }, then(know_direction, writes("/direction", "out"))},
        {[] { return x_gpio_util_set(7, 0); }, then(then({asks}, know_direction), writes("/value", "0"))},
        {[] { return x_gpio_util_direction(7, 0); }, then(know_direction, writes("/direction", "in"))},
        {[] { return x_gpio_util_set(7, 5); },
         then(then(then({asks}, know_direction), writes("/direction", "out")), writes("/value", "1"))},
        {[&] { return x_gpio_util_get(7, &value); }, {asks, opens("/value"), "read(1)", "close()"}},
        {[] { return x_gpio_util_direction(7, 0); }, then(know_direction, writes("/direction", "in"))},
        {[] { return x_gpio_util_edge(7, 0); }, then({asks}, writes("/edge", "falling"))},
        {[] { return x_gpio_util_edge(7, 1); }, then({asks}, writes("/edge", "rising"))},
        {[] { return x_gpio_util_edge(7, 2); }, then({asks}, writes("/edge", "both"))},
        {[&] { return x_gpio_util_get_edge(7, &value); }, {asks, opens("/edge"), "read(19)", "close()"}},
        {[&] { return x_gpio_util_get_active_low(7, &value); }, {asks, opens("/active_low"), "read(1)", "close()"}},
        {[] { return x_gpio_util_active_low(7, -3); }, then({asks}, writes("/active_low", "1"))},
        {[] { return x_gpio_util_active_low(7, 0); }, then({asks}, writes("/active_low", "0"))},
    };
    for (const auto &c : cases) EXPECT_EQ(calls_of([&] { EXPECT_EQ(c.call(), 0); }), c.calls);
}

TEST_F(Lines, UnknownEdgesAreRefusedBeforeAnything) {
    EXPECT_EQ(calls_of([] {
                  EXPECT_EQ(x_gpio_util_edge(7, 3), -1);
                  EXPECT_EQ(x_gpio_util_edge(7, static_cast<unsigned>(-1)), -1);
              }),
              Calls{});
}

TEST_F(Lines, AttributesAreReadByTheirFirstCharacterOrLine) {
    const struct {
        const char *attribute, *text;
        int (*get)(int, int *);
        int result, value;
    } cases[] = {
        {"direction", "in\n", x_gpio_util_get_direction, 0, 0},
        {"direction", "out\n", x_gpio_util_get_direction, 0, 1},
        {"direction", "I", x_gpio_util_get_direction, 0, 1},
        {"direction", "", x_gpio_util_get_direction, -1, -99},
        {"value", "1\n", x_gpio_util_get, 0, 1},
        {"value", "0\n", x_gpio_util_get, 0, 0},
        {"value", "2\n", x_gpio_util_get, 0, 0},
        {"value", "", x_gpio_util_get, -1, -99},
        {"edge", "falling\n", x_gpio_util_get_edge, 0, 0},
        {"edge", "rising\n", x_gpio_util_get_edge, 0, 1},
        {"edge", "both", x_gpio_util_get_edge, 0, 2},
        {"edge", "none\n", x_gpio_util_get_edge, 0, 3},
        {"edge", "both more\n", x_gpio_util_get_edge, 0, 3},
        {"edge", "rising\nboth\n", x_gpio_util_get_edge, 0, 1},
        {"edge", "bothrisingfallingnone", x_gpio_util_get_edge, 0, 3},
        {"edge", "\n", x_gpio_util_get_edge, 0, 3},
        {"edge", "", x_gpio_util_get_edge, -1, -99},
        {"active_low", "0\n", x_gpio_util_get_active_low, 0, 0},
        {"active_low", "1\n", x_gpio_util_get_active_low, 0, 1},
        {"active_low", "93\n", x_gpio_util_get_active_low, 0, 9},
        {"active_low", "x\n", x_gpio_util_get_active_low, 0, 0},
        {"active_low", "", x_gpio_util_get_active_low, -1, -99},
    };
    for (const auto &c : cases) {
        put_attribute(c.attribute, c.text);
        value = -99;
        EXPECT_EQ(c.get(7, &value), c.result) << c.attribute << " " << c.text;
        EXPECT_EQ(value, c.value) << c.attribute << " " << c.text;
    }
}

TEST_F(Lines, ShortTransfersCountWhereOneCharacterIsMeant) {
    const auto with_count = [](const char *call, long count, const std::function<int()> &action) {
        return with_fault({.name = call, .has_result = true, .result = count}, action);
    };
    const struct {
        std::function<int()> call;
        int after_short;  // when the first write moves nothing
    } cases[] = {{[] { return x_gpio_util_direction(7, 1); }, 0},
                 {[] { return x_gpio_util_edge(7, 1); }, 0},
                 {[] { return x_gpio_util_active_low(7, 1); }, -1},
                 {[] { return x_gpio_util_export(8); }, -1}};
    for (const auto &c : cases) {
        EXPECT_EQ(with_count("write", 0, c.call), c.after_short);
        EXPECT_EQ(with_count("write", -1, c.call), -1);
    }
    x_gpio_util_direction(7, 1);
    EXPECT_EQ(with_count("write", 0, [] { return x_gpio_util_set(7, 1); }), -1);
    EXPECT_EQ(with_count("write", 1, [] { return x_gpio_util_export(30); }), -1) << "one of two characters";
}

TEST_F(Lines, EveryFailingSystemCallIsMinusOneAndLeavesEverythingAsItWas) {
    const std::function<int()> calls[] = {
        [&] { return x_gpio_util_get_direction(7, &value); }, [&] { return x_gpio_util_get(7, &value); },
        [&] { return x_gpio_util_get_edge(7, &value); },      [&] { return x_gpio_util_get_active_low(7, &value); },
        [] { return x_gpio_util_active_low(7, 1); },          [] { return x_gpio_util_edge(7, 2); },
        [] { return x_gpio_util_direction(7, 2); },           [] { return x_gpio_util_set(7, 1); },
    };
    const Remains before = remains();
    for (const auto &call : calls) {
        const std::size_t count = calls_of(call).size();
        for (std::size_t nth = 1; nth <= count; ++nth) {
            value = -99;
            const int status = with_fault({.nth = nth}, call);
            const std::string failed = sim::fault_plan::log()[nth - 1];
            EXPECT_EQ(status == 0, failed == "close()") << failed;
            if (status != 0) {
                EXPECT_EQ(value, -99) << failed;
            }
            EXPECT_EQ(remains(), before);
        }
    }
    EXPECT_EQ(x_gpio_util_get(99, &value), -1) << "the board has no such line";
}

}  // namespace
}  // namespace ostdrv::test
