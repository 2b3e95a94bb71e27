#pragma once
// A data table's columns, named and typed once: add() in the _data function
// makes them, fetch() in the test reads the current row, in the same order.
//
//   const Columns<QString, int> kRun{"args", "code"};
//   void run_data() { kRun.add(); QTest::newRow("help") << "--help" << 0; }
//   void run() { const auto [args, code] = kRun.fetch(); ... }
#include <QTest>
#include <array>
#include <tuple>
#include <utility>

template <typename... T>
struct Columns {
    std::array<const char *, sizeof...(T)> names;

    void add() const { add(std::index_sequence_for<T...>()); }
    // Like QFETCH: a column of another type fails the test.
    std::tuple<T...> fetch() const { return fetch(std::index_sequence_for<T...>()); }

private:
    template <std::size_t... I>
    void add(std::index_sequence<I...>) const
    {
        (QTest::addColumn<T>(names[I]), ...);
    }
    template <std::size_t... I>
    std::tuple<T...> fetch(std::index_sequence<I...>) const
    {
        return {*static_cast<T *>(QTest::qData(names[I], qMetaTypeId<T>()))...};
    }
};
