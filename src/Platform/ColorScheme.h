#pragma once

#include <QObject>
#include <QString>

#include <optional>

class QDBusVariant;

namespace Platform {

// Whether the desktop prefers light or dark screens, followed live. The answer comes from
// VANTOR_COLOR_SCHEME=light|dark when set; else from the XDG desktop portal's appearance
// setting when a portal answers with a preference; else from the lightness of the
// palette's window colour. Anything unreadable counts as light.
class ColorScheme final : public QObject {
    Q_OBJECT

public:
    enum class Scheme { light, dark };

    explicit ColorScheme(QObject* parent = nullptr);

    Scheme scheme() const { return m_scheme; }
    bool isDark() const { return m_scheme == Scheme::dark; }

    // The portal's value of "color-scheme": 1 prefers dark, 2 prefers light, anything
    // else says nothing.
    static std::optional<Scheme> fromPortalValue(uint value);

Q_SIGNALS:
    void schemeChanged();

private Q_SLOTS:
    void portalSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void readPortal();
    void setPortalPreference(std::optional<Scheme> preference);
    void update();
    Scheme fromPalette() const;
    bool eventFilter(QObject* watched, QEvent* event) override;

    std::optional<Scheme> m_forced;
    std::optional<Scheme> m_portal;
    Scheme m_scheme = Scheme::light;
};

} // namespace Platform
