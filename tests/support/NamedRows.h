#pragma once

// Table-driven tests whose rows start with their own `name`: each instantiated test is called
// after its row, and GoogleTest prints a row as that name, so a run and a failure say which row.
//
//   struct SomeRow { const char *name; ... };
//   ...
//   INSTANTIATE_TEST_SUITE_P(Rows, SomeTest, ::testing::ValuesIn(kRows), dialwise::testing::RowName());

#include <concepts>
#include <ostream>
#include <string>

namespace dialwise::testing {

template <typename Row>
concept NamedRow = requires(const Row &row) {
    { row.name } -> std::convertible_to<const char *>;
};

// More constrained than GoogleTest's own PrintTo, so it is chosen for every named row; a row type
// that has a plain PrintTo of its own keeps that one.
template <NamedRow Row>
void PrintTo(const Row &row, std::ostream *os)
{
    *os << row.name;
}

// An object rather than a lambda: INSTANTIATE_TEST_SUITE_P already calls its own parameter
// `info`, which a lambda's parameter would shadow.
struct RowName
{
    template <typename ParamInfo>
    std::string operator()(const ParamInfo &row) const
    {
        return std::string(row.param.name);
    }
};

} // namespace dialwise::testing

// GoogleTest finds a printer beside the type it prints. A test file's rows live in its unnamed
// namespace, and a file has only one: this one, once the header is included. So including it is
// all a test file does to have its named rows printed.
namespace {
using dialwise::testing::PrintTo;
} // namespace
