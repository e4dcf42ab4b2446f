// The operation table's machinery: values checked against their rows, the
// command line of one operation, help generated from the rows.
#include <gtest/gtest.h>

#include "cli.h"
#include "op_table.h"

namespace imge {
namespace tool {
namespace {

Op TestOp() {
    return Public("test", "A row with every kind of parameter",
                  {IntP("n", 5, -10, 10, "a whole number"), RealP("x", 1.5, 0.5, 2.5, "a number"),
                   ChoiceP("mode", "b", "a=7|b=8|c=9", "a word"), ColorP("fill", "#102030", "a colour"),
                   PointsP("pts", "1,2 3,4", 2, "points"), IntsP("k", "1,2,3", -5, 5, "numbers"),
                   FlagP("on", "a flag"), Required(IntP("must", 0, 0, 3, "required"))},
                  [](const Args &, IMG_BITMAP *, IMG_BITMAP **) { return IMG_NO_ERROR; });
}

std::string ParseError(const Op &op, const std::map<std::string, std::string> &given) {
    try {
        ParseArgs(op, given);
    } catch (const ToolError &e) {
        return e.message;
    }
    return "";
}

std::string CommandLineError(const Op &op, const std::vector<std::string> &argv) {
    try {
        ParseCommandLine(op, argv);
    } catch (const ToolError &e) {
        return e.message;
    }
    return "";
}

TEST(ToolParams, DefaultsAndGivenValues) {
    const Op op = TestOp();
    Args a = ParseArgs(op, {{"must", "2"}});
    EXPECT_EQ(a.Int("n"), 5);
    EXPECT_DOUBLE_EQ(a.Real("x"), 1.5);
    EXPECT_EQ(a.Int("mode"), 8);
    EXPECT_EQ(a.Color("fill").Red, 0x10);
    EXPECT_EQ(a.Color("fill").Blue, 0x30);
    EXPECT_EQ(a.Color("fill").Alpha, 255);
    ASSERT_EQ(a.Points("pts").size(), 2u);
    EXPECT_EQ(a.Points("pts")[1].y, 4);
    EXPECT_EQ(a.Ints("k"), (std::vector<long>{1, 2, 3}));
    EXPECT_FALSE(a.Flag("on"));
    EXPECT_EQ(a.Int("must"), 2);

    a = ParseArgs(op, {{"must", "0"}, {"n", "-10"}, {"x", "2.5"}, {"mode", "c"}, {"fill", "1,2,3,4"},
                       {"pts", "0,0;5,-6 7,8"}, {"k", "-5 5"}, {"on", "1"}});
    EXPECT_EQ(a.Int("n"), -10);
    EXPECT_EQ(a.Int("mode"), 9);
    EXPECT_EQ(a.Color("fill").Alpha, 4);
    EXPECT_EQ(a.Points("pts").size(), 3u);
    EXPECT_EQ(a.Points("pts")[1].y, -6);
    EXPECT_EQ(a.Ints("k"), (std::vector<long>{-5, 5}));
    EXPECT_TRUE(a.Flag("on"));
}

TEST(ToolParams, ColoursByHexListNameOrNone) {
    const Op op = TestOp();
    struct {
        const char *text;
        int r, g, b, a;
    } cases[] = {{"#ff8000", 255, 128, 0, 255}, {"#FF800040", 255, 128, 0, 64}, {"0,0,255", 0, 0, 255, 255},
                 {"orange", 255, 128, 0, 255}, {"white", 255, 255, 255, 255}, {"Gray", 128, 128, 128, 255},
                 {"grey", 128, 128, 128, 255}, {"green", 0, 128, 0, 255}, {"teal", 0, 128, 128, 255},
                 {"AQUA", 0, 255, 255, 255}, {"BlAck", 0, 0, 0, 255}};
    for (const auto &c : cases) {
        Args a = ParseArgs(op, {{"must", "1"}, {"fill", c.text}});
        const IMG_COLOR &col = a.Color("fill");
        EXPECT_EQ(col.Red, c.r) << c.text;
        EXPECT_EQ(col.Green, c.g) << c.text;
        EXPECT_EQ(col.Blue, c.b) << c.text;
        EXPECT_EQ(col.Alpha, c.a) << c.text;
        EXPECT_NE(a.ColorOrNull("fill"), nullptr);
    }
    EXPECT_EQ(ParseArgs(op, {{"must", "1"}, {"fill", "none"}}).ColorOrNull("fill"), nullptr);
}

TEST(ToolParams, BadValuesNameTheOptionAndTheReason) {
    const Op op = TestOp();
    const struct {
        const char *name, *value, *reason;
    } cases[] = {
        {"n", "11", "out of range (-10 to 10)"}, {"n", "-11", "out of range"}, {"n", "1.5", "not a whole number"},
        {"n", "", "not a whole number"},         {"n", "99999999999999999999", "not a whole number"},
        {"x", "2.6", "out of range (0.5 to 2.5)"}, {"x", "nan", "not a number"}, {"x", "1e999", "not a number"},
        {"x", "abc", "not a number"},             {"mode", "d", "expected one of a, b, c"},
        {"fill", "#12345", "expected #rrggbb"},   {"fill", "#gg0000", "hexadecimal"},
        {"fill", "1,2", "expected #rrggbb"},      {"fill", "1,2,256", "out of range (0 to 255)"},
        {"fill", "mauve", "expected #rrggbb"},    {"pts", "1,2", "at least 2 points"},
        {"pts", "1,2 3", "'3' is not a point"},   {"pts", "1,2 3,4,5", "is not a point"},
        {"pts", "1,2 3,9999999", "out of range"}, {"k", "1,6", "out of range (-5 to 5)"},
        {"k", " ", "at least one number"},        {"k", "1,a", "'a' is not a whole number"},
    };
    for (const auto &c : cases) {
        const std::string err = ParseError(op, {{"must", "1"}, {c.name, c.value}});
        EXPECT_NE(err.find(std::string("--") + c.name), std::string::npos) << c.name << " " << c.value << ": " << err;
        EXPECT_NE(err.find(c.reason), std::string::npos) << c.name << " '" << c.value << "': " << err;
    }
    EXPECT_NE(ParseError(op, {}).find("test needs --must"), std::string::npos);
    EXPECT_NE(ParseError(op, {{"must", "1"}, {"nope", "1"}}).find("has no option --nope"), std::string::npos);
}

TEST(ToolParams, CommandLineForms) {
    const Op op = TestOp();
    Request r = ParseCommandLine(op, {"--must=3", "--n", "-7", "in1.png", "-o", "out", "--on", "--", "-odd.png"});
    EXPECT_EQ(r.args.Int("must"), 3);
    EXPECT_EQ(r.args.Int("n"), -7);  // a negative number is a value, not an option
    EXPECT_TRUE(r.args.Flag("on"));
    EXPECT_EQ(r.common.output, "out");
    EXPECT_EQ(r.inputs, (std::vector<std::string>{"in1.png", "-odd.png"}));
    r = ParseCommandLine(op, {"--must", "1", "a.png", "--quality", "55", "--format", "jpg", "--fail-fast", "-q"});
    EXPECT_EQ(r.common.quality, 55);
    EXPECT_EQ(r.common.format, "jpeg");
    EXPECT_TRUE(r.common.fail_fast);
    EXPECT_TRUE(r.common.quiet);

    const struct {
        std::vector<std::string> argv;
        const char *error;
    } bad[] = {
        {{"--must", "1", "a.png", "--bogus"}, "unknown option --bogus"},
        {{"--must", "1", "a.png", "-x"}, "unknown option -x"},
        {{"--must", "1", "a.png", "--n"}, "missing value for --n"},
        {{"--must", "1", "a.png", "-o"}, "missing value for --output"},
        {{"--must", "1", "--n", "1", "--n", "2", "a.png"}, "--n given twice"},
        {{"--must", "1", "--on=1", "a.png"}, "--on takes no value"},
        {{"--must", "1"}, "no input file"},
        {{"--must", "1", "a.png", "--quality", "101"}, "out of range (1 to 100)"},
        {{"--must", "1", "a.png", "-o", "x.tiff"}, "cannot tell the output format"},
        {{"--must", "9", "a.png"}, "out of range (0 to 3)"},
    };
    for (const auto &b : bad) {
        const std::string err = CommandLineError(op, b.argv);
        EXPECT_NE(err.find(b.error), std::string::npos) << b.error << " -> " << err;
        EXPECT_EQ(err.rfind("test: ", 0), 0u) << err;  // every message names the operation
    }
}

TEST(ToolParams, EveryRowParsesItsDefaults) {
    for (const Op &op : AllOps()) {
        std::map<std::string, std::string> given;
        bool required = false;
        for (const Param &p : op.params) required = required || (p.def.empty() && p.kind != Kind::Flag);
        if (!required) {
            Op defaults = op;  // a check across options may ask for one (resize: a size)
            if (!op.demo.empty()) defaults.check = nullptr;
            EXPECT_NO_THROW(ParseArgs(defaults, given)) << op.name;
        } else {
            EXPECT_FALSE(op.demo.empty()) << op.name << " has required options but no demo arguments";
        }
        EXPECT_FALSE(op.summary.empty()) << op.name;
        EXPECT_EQ(FindOp(op.name), &op);
    }
    EXPECT_EQ(FindOp("no-such-operation"), nullptr);
}

TEST(ToolHelp, GeneratedFromTheRows) {
    const std::string main_help = MainHelp();
    for (const Op &op : AllOps()) {
        EXPECT_NE(main_help.find("    " + op.name + " "), std::string::npos) << op.name;
        const std::string help = OpHelp(op);
        EXPECT_EQ(help.rfind("Usage: imge " + op.name, 0), 0u) << op.name;
        for (const Param &p : op.params) EXPECT_NE(help.find(ParamUsage(p)), std::string::npos) << op.name << " " << p.name;
    }
    const std::string help = OpHelp(TestOp());
    EXPECT_NE(help.find("--n N"), std::string::npos);
    EXPECT_NE(help.find("(-10 to 10; default 5)"), std::string::npos);
    EXPECT_NE(help.find("(a, b, c; default b)"), std::string::npos);
    EXPECT_NE(help.find("required"), std::string::npos);
}

}  // namespace
}  // namespace tool
}  // namespace imge
