#include "gpio/line_calls.hpp"
#include "world.hpp"

namespace ostdrv::test {
namespace {

const std::string line7 = "/sys/class/gpio/gpio7";

class Lines : public World {
 public:
    int value = -99;

    void SetUp() override { EXPECT_EQ(x_gpio_util_export(7), 0); }
    void put_attribute(const std::string &attribute, std::string_view text) const {
        board.put(line7 + "/" + attribute, text);
    }
};

TEST_F(Lines, MakeExactlyTheseSystemCalls) {
    const std::string asks = "access(~) ";
    const std::string knows = asks + asks + "open(~/direction) read(1) close()";
    const struct {
        std::function<int()> call;
        std::string calls;
    } cases[] = {{[] { return x_gpio_util_export(7); }, "access(~)"},
                 {[] { return x_gpio_util_export(12); },
                  "access(/sys/class/gpio/gpio12) open(/sys/class/gpio/export) write(2 '12') close()"},
                 {[&] { return x_gpio_util_get_direction(7, &value); }, asks + "open(~/direction) read(1) close()"},
                 {[] { return x_gpio_util_direction(7, 0); }, knows},
                 {[] { return x_gpio_util_direction(7, 1); }, knows + " open(~/direction) write(3 'out') close()"},
                 {[] { return x_gpio_util_direction(7, 1); }, knows},
                 {[] { return x_gpio_util_direction(7, 2); }, knows + " open(~/direction) write(3 'out') close()"},
                 {[] { return x_gpio_util_set(7, 0); }, asks + knows + " open(~/value) write(1 '0') close()"},
                 {[] { return x_gpio_util_direction(7, 0); }, knows + " open(~/direction) write(2 'in') close()"},
                 {[] { return x_gpio_util_set(7, 5); },
                  asks + knows + " open(~/direction) write(3 'out') close() open(~/value) write(1 '1') close()"},
                 {[&] { return x_gpio_util_get(7, &value); }, asks + "open(~/value) read(1) close()"},
                 {[] { return x_gpio_util_direction(7, 0); }, knows + " open(~/direction) write(2 'in') close()"},
                 {[] { return x_gpio_util_edge(7, 0); }, asks + "open(~/edge) write(7 'falling') close()"},
                 {[] { return x_gpio_util_edge(7, 2); }, asks + "open(~/edge) write(4 'both') close()"},
                 {[&] { return x_gpio_util_get_edge(7, &value); }, asks + "open(~/edge) read(19) close()"},
                 {[&] { return x_gpio_util_get_active_low(7, &value); }, asks + "open(~/active_low) read(1) close()"},
                 {[] { return x_gpio_util_active_low(7, -3); }, asks + "open(~/active_low) write(1 '1') close()"},
                 {[] { return x_gpio_util_active_low(7, 0); }, asks + "open(~/active_low) write(1 '0') close()"},
                 {[] { return x_gpio_util_edge(7, 3) + 1; }, ""},
                 {[] { return x_gpio_util_edge(7, static_cast<unsigned>(-1)) + 1; }, ""}};
    for (const auto &c : cases) EXPECT_EQ(line_calls(calls_of([&] { EXPECT_EQ(c.call(), 0); }), line7), c.calls);
}

TEST_F(Lines, AttributesAreReadByTheirFirstCharacterOrLine) {
    const struct {
        const char *attribute;
        int (*get)(int, int *);
        std::vector<std::pair<const char *, int>> values;
    } cases[] = {{"direction", x_gpio_util_get_direction, {{"in\n", 0}, {"out\n", 1}, {"I", 1}}},
                 {"value", x_gpio_util_get, {{"1\n", 1}, {"0\n", 0}, {"2\n", 0}}},
                 {"edge",
                  x_gpio_util_get_edge,
                  {{"falling\n", 0},
                   {"rising\n", 1},
                   {"both", 2},
                   {"none\n", 3},
                   {"rising\nboth\n", 1},
                   {"bothrisingfallingnone", 3}}},
                 {"active_low", x_gpio_util_get_active_low, {{"0\n", 0}, {"1\n", 1}, {"93\n", 9}, {"x\n", 0}}}};
    for (const auto &c : cases) {
        for (const auto &[text, expected] : c.values) {
            put_attribute(c.attribute, text);
            EXPECT_EQ(c.get(7, &value), 0) << c.attribute << " " << text;
            EXPECT_EQ(value, expected) << c.attribute << " " << text;
        }
        put_attribute(c.attribute, "");
        value = -99;
        EXPECT_EQ(c.get(7, &value), -1) << c.attribute;
        EXPECT_EQ(value, -99) << c.attribute;
    }
}

TEST_F(Lines, ShortTransfersCountWhereOneCharacterIsMeant) {
    const struct {
        std::function<int()> call;
        long written;
        int status;
    } cases[] = {{[] { return x_gpio_util_direction(7, 1); }, 0, 0},   {[] { return x_gpio_util_edge(7, 1); }, 0, 0},
                 {[] { return x_gpio_util_active_low(7, 1); }, 0, -1}, {[] { return x_gpio_util_export(30); }, 1, -1},
                 {[] { return x_gpio_util_direction(7, 1); }, -1, -1}, {[] { return x_gpio_util_edge(7, 1); }, -1, -1}};
    for (const auto &c : cases)
        EXPECT_EQ(with_fault({.name = "write", .has_result = true, .result = c.written}, c.call), c.status);
    x_gpio_util_direction(7, 1);
    EXPECT_EQ(with_fault({.name = "write", .has_result = true}, [] { return x_gpio_util_set(7, 1); }), -1);
}

}  // namespace
}  // namespace ostdrv::test
