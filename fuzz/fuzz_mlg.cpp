// The memory log reader of the chart viewer under arbitrary file contents.
//
// Checked: a refused file leaves what was read before untouched and names a
// line; an accepted one has one value per point, and a log of points 1..n
// with 16-bit samples written out again reads in to the same numbers.
#include "fuzzsupport.h"
#include "files/mlgfile.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    MlgData out;
    out.fullScale = 7;
    out.points = {1};
    out.values = {-5};

    QString error;
    if (!mlgfile::parse(bytes, &out, &error)) {
        FUZZ_CHECK(error.startsWith(QStringLiteral("line ")));
        FUZZ_CHECK(out.fullScale == 7 && out.points == QVector<qint32>{1} && out.values == QVector<qint32>{-5});
        return 0;
    }
    FUZZ_CHECK(out.points.size() == out.values.size());

    QVector<qint16> samples;
    for (int i = 0; i < out.points.size(); ++i) {
        if (out.points[i] != i + 1 || out.values[i] < -32768 || out.values[i] > 32767)
            return 0;
        samples.append(qint16(out.values[i]));
    }
    MlgData again;
    QString why;
    FUZZ_CHECK(mlgfile::parse(mlgfile::bytes(out.fullScale, out.scaling, out.density, samples, samples.size()),
                              &again, &why));
    FUZZ_CHECK(again.fullScale == out.fullScale && again.scaling == out.scaling && again.density == out.density);
    FUZZ_CHECK(again.points == out.points && again.values == out.values);
    return 0;
}
