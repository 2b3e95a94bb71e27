#include "filesave.h"

#include "common/prompter.h"

#include <QFileInfo>

QString saveWithReplaceQuestion(Prompter &prompter, const SaveDialogText &text,
                                const std::function<bool(const QString &, QString *)> &write)
{
    for (;;) {
        const QString path = prompter.saveFileName(text.title, text.proposed, text.filter);
        if (path.isEmpty())
            return QString();
        // The old file is only replaced once the new one is written whole,
        // so saying OK here never loses it to a failed write.
        if (QFileInfo::exists(path)
            && !prompter.askOkCancel(QStringLiteral("Replace existing file - ") + path + QStringLiteral("?"),
                                     QStringLiteral("System Monitor"), Prompter::Question))
            continue;
        QString error;
        if (!write(path, &error)) {
            prompter.message(path + QStringLiteral(": ") + error, QStringLiteral("System Monitor"),
                             Prompter::Exclamation);
            return QString();
        }
        prompter.message(text.savedText, QStringLiteral("System Monitor"), Prompter::Information);
        return path;
    }
}
