#include "app/gradients/GradientSwatch.h"

#include "settings/AppSettings.h"

#include <QComboBox>
#include <QLinearGradient>
#include <QPainter>
#include <QPixmap>
#include <QSignalBlocker>

namespace {

QColor toQColor(const RgbColor &color)
{
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue), static_cast<float>(color.alpha));
}

QPixmap transparentPixmap(QSize size)
{
    QPixmap pixmap(size * 2);
    pixmap.setDevicePixelRatio(2.0);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

} // namespace

QIcon gradientSwatch(const GradientPreset &preset, QSize size)
{
    QPixmap pixmap = transparentPixmap(size);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0.0, 0.0, size.width(), 0.0);
    constexpr float lowDb = -60.0f;
    constexpr float highDb = 6.0f;
    constexpr int samples = 12;
    for (int i = 0; i <= samples; ++i) {
        const double t = static_cast<double>(i) / samples;
        gradient.setColorAt(t, toQColor(preset.colorAt(lowDb + static_cast<float>(t) * (highDb - lowDb))));
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawRoundedRect(QRectF(0.5, 0.5, size.width() - 1.0, size.height() - 1.0), 3.0, 3.0);
    return QIcon(pixmap);
}

QIcon accentSwatch(const GradientPreset &preset, int diameter)
{
    QPixmap pixmap = transparentPixmap({diameter, diameter});
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(toQColor(preset.accentColor()));
    painter.drawEllipse(QRectF(0.5, 0.5, diameter - 1.0, diameter - 1.0));
    return QIcon(pixmap);
}

void fillGradientPicker(QComboBox *box, const AppSettings &settings, const QString &sameLabel)
{
    const QSignalBlocker blocker(box);
    box->clear();
    box->setIconSize({36, 12});
    if (!sameLabel.isEmpty()) box->addItem(sameLabel, QString::fromLatin1(AppSettings::sameGradientTag));
    for (const GradientPreset &preset : settings.gradientPresets())
        box->addItem(gradientSwatch(preset), QString::fromStdString(preset.name),
                     QString::fromStdString(preset.id.toString()));
}
