#include "Cli/Text.h"

namespace Cli::Text {

QString printable(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        const char16_t code = character.unicode();
        if (code == u'\n')
            shown += QLatin1String("\\n");
        else if (code == u'\t')
            shown += QLatin1String("\\t");
        else if (code < 0x20 || code == 0x7F || (code >= 0x80 && code < 0xA0))
            shown += QStringLiteral("\\x%1").arg(code, 2, 16, QLatin1Char('0'));
        else
            shown += character;
    }
    return shown;
}

} // namespace Cli::Text
