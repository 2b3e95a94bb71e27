// The configuration table reader under arbitrary file contents.
//
// Checked: a refused file leaves the table exactly as it was and names a
// line; an accepted one fills at most 99 entries, leaves the entries past
// the last record as they were, and when its fields hold no quote the table
// written back out reads in to the same rows.
#include "fuzzsupport.h"
#include "files/configtable.h"

#include <cstddef>
#include <cstdint>

namespace {

bool plainFields(const ConfigTable &t)
{
    for (int i = 0; i < ConfigTable::RowCount; ++i) {
        const ConfigRow &r = t.row(i);
        for (const QString *f : {&r.Index, &r.Address, &r.Width, &r.Data, &r.Value})
            if (f->contains(QLatin1Char('"')))
                return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    ConfigTable table;
    for (int i = 0; i < ConfigTable::Capacity; ++i)
        table.row(i).Value = QString::number(i);
    const ConfigTable before = table;

    QString error;
    if (!table.read(bytes, &error)) {
        FUZZ_CHECK(error.startsWith(QStringLiteral("line ")));
        for (int i = 0; i < ConfigTable::Capacity; ++i)
            FUZZ_CHECK(table.row(i) == before.row(i));
        return 0;
    }
    const int n = table.recordsRead();
    FUZZ_CHECK(n >= 0 && n <= ConfigTable::Capacity);
    for (int i = n; i < ConfigTable::Capacity; ++i)
        FUZZ_CHECK(table.row(i) == before.row(i));

    if (plainFields(table)) {
        ConfigTable again;
        QString why;
        FUZZ_CHECK(again.read(table.fileBytes(), &why));
        FUZZ_CHECK(again.recordsRead() == ConfigTable::RowCount);
        for (int i = 0; i < ConfigTable::RowCount; ++i)
            FUZZ_CHECK(again.row(i) == table.row(i));
    }
    return 0;
}
