#include "app/gradients/GradientEditor.h"

#include "app/exchange/ExchangeDialogs.h"
#include "app/gradients/GradientStopBar.h"
#include "app/gradients/GradientSwatch.h"
#include "settings/AppSettings.h"

#include <QColorDialog>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>

namespace {

QColor toQColor(const RgbColor &color)
{
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue));
}

GradientColorStop makeStop(float levelDb, const RgbColor &color)
{
    GradientColorStop stop;
    stop.id = Uuid::createRandom();
    stop.levelDb = levelDb;
    stop.red = color.red;
    stop.green = color.green;
    stop.blue = color.blue;
    return stop;
}

QPushButton *button(const QString &text, const char *objectName)
{
    auto *b = new QPushButton(text);
    b->setObjectName(QString::fromLatin1(objectName));
    return b;
}

} // namespace

GradientEditor::GradientEditor(AppSettings &settings, QWidget *parent) : QWidget(parent, Qt::Window), settings_(settings)
{
    setObjectName(QStringLiteral("gradient-editor"));
    setWindowTitle(QStringLiteral("Gradient Editor"));

    list_ = new QListWidget;
    list_->setObjectName(QStringLiteral("presetList"));
    list_->setMinimumWidth(190);
    auto *add = button(QStringLiteral("Add"), "addPreset");
    auto *duplicate = button(QStringLiteral("Duplicate"), "duplicatePreset");
    rename_ = button(QStringLiteral("Rename..."), "renamePreset");
    delete_ = button(QStringLiteral("Delete"), "deletePreset");
    auto *exportOne = button(QStringLiteral("Export..."), "exportPreset");
    auto *listButtons = new QHBoxLayout;
    for (QPushButton *b : {add, duplicate, rename_, delete_}) listButtons->addWidget(b);
    auto *left = new QVBoxLayout;
    left->addWidget(list_, 1);
    left->addLayout(listButtons);

    title_ = new QLabel;
    QFont titleFont = title_->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.3);
    titleFont.setBold(true);
    title_->setFont(titleFont);
    stopBar_ = new GradientStopBar;
    stopBar_->setObjectName(QStringLiteral("stopBar"));
    builtInMessage_ = new QLabel(QString::fromUtf8(gradient_presets::builtInEditMessage));
    builtInMessage_->setObjectName(QStringLiteral("builtInMessage"));
    builtInMessage_->setWordWrap(true);

    stopLevel_ = new QDoubleSpinBox;
    stopLevel_->setObjectName(QStringLiteral("stopLevel"));
    stopLevel_->setRange(-96.0, 12.0);
    stopLevel_->setDecimals(1);
    stopLevel_->setSingleStep(0.5);
    stopLevel_->setSuffix(QStringLiteral(" dB"));
    stopLevel_->setKeyboardTracking(false);
    stopColor_ = button(QString(), "stopColor");
    stopColor_->setMinimumWidth(80);
    addStop_ = button(QStringLiteral("Add Stop"), "addStop");
    removeStop_ = button(QStringLiteral("Remove Stop"), "removeStop");
    useForMeter_ = button(QStringLiteral("Use for Level Meter"), "useForMeter");

    auto *stopForm = new QFormLayout;
    stopForm->addRow(QStringLiteral("Level:"), stopLevel_);
    stopForm->addRow(QStringLiteral("Colour:"), stopColor_);
    auto *stopButtons = new QHBoxLayout;
    stopButtons->addWidget(addStop_);
    stopButtons->addWidget(removeStop_);
    stopButtons->addStretch(1);
    auto *bottomButtons = new QHBoxLayout;
    bottomButtons->addWidget(useForMeter_);
    bottomButtons->addStretch(1);
    bottomButtons->addWidget(exportOne);

    auto *right = new QVBoxLayout;
    right->addWidget(title_);
    right->addWidget(stopBar_);
    right->addWidget(builtInMessage_);
    right->addLayout(stopForm);
    right->addLayout(stopButtons);
    right->addStretch(1);
    right->addLayout(bottomButtons);

    auto *layout = new QHBoxLayout(this);
    layout->addLayout(left, 2);
    layout->addLayout(right, 3);
    resize(720, 360);

    connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
        if (row < 0 || row >= static_cast<int>(settings_.gradientPresets().size())) return;
        currentId_ = settings_.gradientPresets()[static_cast<std::size_t>(row)].id;
        selectedStop_.reset();
        showCurrent();
    });
    connect(add, &QPushButton::clicked, this, &GradientEditor::addPreset);
    connect(duplicate, &QPushButton::clicked, this, &GradientEditor::duplicatePreset);
    connect(rename_, &QPushButton::clicked, this, &GradientEditor::askRename);
    connect(delete_, &QPushButton::clicked, this, [this] {
        const std::optional<GradientPreset> preset = currentPreset();
        if (!preset) return;
        const auto answer = QMessageBox::question(
            this, QStringLiteral("Delete Gradient"),
            QStringLiteral("Delete \"%1\"? This cannot be undone.").arg(QString::fromStdString(preset->name)));
        if (answer == QMessageBox::Yes) deletePreset();
    });
    connect(exportOne, &QPushButton::clicked, this, &GradientEditor::exportCurrent);
    connect(useForMeter_, &QPushButton::clicked, this, [this] {
        if (currentId_) settings_.setSelectedGradientIdString(QString::fromStdString(currentId_->toString()));
    });
    connect(stopBar_, &GradientStopBar::stopSelected, this, [this](const Uuid &id) {
        selectedStop_ = id;
        showCurrent();
    });
    connect(stopBar_, &GradientStopBar::stopDragged, this, &GradientEditor::moveStop);
    connect(stopBar_, &GradientStopBar::stopColorRequested, this, &GradientEditor::pickStopColor);
    connect(stopBar_, &GradientStopBar::stopAddRequested, this, &GradientEditor::addStop);
    connect(stopLevel_, &QDoubleSpinBox::valueChanged, this, [this](double value) {
        if (selectedStop_) moveStop(*selectedStop_, static_cast<float>(value));
    });
    connect(stopColor_, &QPushButton::clicked, this, [this] {
        if (selectedStop_) pickStopColor(*selectedStop_);
    });
    connect(addStop_, &QPushButton::clicked, this, [this] {
        const std::optional<GradientPreset> preset = currentPreset();
        if (!preset) return;
        // Halfway between the selected stop and the next one up, else in the middle.
        float level = -18.0f;
        if (selectedStop_) {
            const auto it = std::find_if(preset->stops.begin(), preset->stops.end(),
                                         [this](const GradientColorStop &s) { return s.id == *selectedStop_; });
            if (it != preset->stops.end()) level = std::min(it->levelDb + 6.0f, GradientStopBar::highestDb);
        }
        addStop(level);
    });
    connect(removeStop_, &QPushButton::clicked, this, &GradientEditor::removeSelectedStop);
    connect(&settings_, &AppSettings::changed, this, &GradientEditor::reloadList);

    reloadList();
    selectPreset(settings_.selectedGradient().id);
}

std::optional<GradientPreset> GradientEditor::currentPreset() const
{
    if (!currentId_) return std::nullopt;
    return settings_.gradientPreset(*currentId_);
}

void GradientEditor::selectPreset(const Uuid &id)
{
    const auto &presets = settings_.gradientPresets();
    const auto it = std::find_if(presets.begin(), presets.end(), [&id](const GradientPreset &p) { return p.id == id; });
    if (it == presets.end()) return;
    list_->setCurrentRow(static_cast<int>(it - presets.begin()));
    currentId_ = id;
    showCurrent();
}

void GradientEditor::reloadList()
{
    const QSignalBlocker blocker(list_);
    const auto &presets = settings_.gradientPresets();
    // Rebuild only when the list itself changed length; otherwise update in place, so
    // dragging a stop does not make the list flicker or lose its scroll position.
    if (list_->count() != static_cast<int>(presets.size())) {
        list_->clear();
        for (std::size_t i = 0; i < presets.size(); ++i) list_->addItem(QString());
    }
    int currentRow = -1;
    for (std::size_t i = 0; i < presets.size(); ++i) {
        const GradientPreset &preset = presets[i];
        QListWidgetItem *item = list_->item(static_cast<int>(i));
        item->setIcon(accentSwatch(preset));
        item->setText(QString::fromStdString(preset.name) + (preset.isBuiltIn ? QStringLiteral("  (built-in)") : QString()));
        if (currentId_ == preset.id) currentRow = static_cast<int>(i);
    }
    if (currentRow < 0 && !presets.empty()) {
        // The shown preset was deleted: show the meter's gradient instead.
        currentId_ = settings_.selectedGradient().id;
        selectedStop_.reset();
        const auto it = std::find_if(presets.begin(), presets.end(),
                                     [this](const GradientPreset &p) { return p.id == *currentId_; });
        currentRow = it == presets.end() ? 0 : static_cast<int>(it - presets.begin());
        currentId_ = presets[static_cast<std::size_t>(currentRow)].id;
    }
    list_->setCurrentRow(currentRow);
    showCurrent();
}

void GradientEditor::showCurrent()
{
    const std::optional<GradientPreset> preset = currentPreset();
    const bool editable = preset && !preset->isBuiltIn;
    title_->setText(preset ? QString::fromStdString(preset->name) : QString());
    stopBar_->setPreset(preset.value_or(GradientPreset{}));
    stopBar_->setReadOnly(!editable);
    builtInMessage_->setVisible(preset && preset->isBuiltIn);
    rename_->setEnabled(editable);
    delete_->setEnabled(editable);
    addStop_->setEnabled(editable);
    useForMeter_->setEnabled(preset.has_value());

    const GradientColorStop *stop = nullptr;
    if (preset && selectedStop_) {
        const auto it = std::find_if(preset->stops.begin(), preset->stops.end(),
                                     [this](const GradientColorStop &s) { return s.id == *selectedStop_; });
        if (it != preset->stops.end()) stop = &*it;
    }
    if (!stop) selectedStop_.reset();
    stopBar_->setSelectedStop(selectedStop_);
    stopLevel_->setEnabled(editable && stop);
    stopColor_->setEnabled(editable && stop);
    // Two stops are the least a gradient needs.
    removeStop_->setEnabled(editable && stop && preset->stops.size() > 2);
    {
        const QSignalBlocker blocker(stopLevel_);
        stopLevel_->setValue(stop ? stop->levelDb : 0.0);
    }
    const QColor color = stop ? toQColor(stop->color()) : QColor();
    stopColor_->setText(stop ? color.name() : QString());
    stopColor_->setStyleSheet(stop ? QStringLiteral("background-color: %1; color: %2;")
                                         .arg(color.name(), color.lightnessF() > 0.5 ? QStringLiteral("black")
                                                                                     : QStringLiteral("white"))
                                   : QString());
}

bool GradientEditor::store(const GradientPreset &edited)
{
    if (edited.isBuiltIn) return false;
    settings_.updateGradient(edited);
    return true;
}

void GradientEditor::addPreset()
{
    GradientPreset preset;
    preset.name = settings_.makeUniqueName("New Gradient");
    preset.stops = {makeStop(-60.0f, {0.1, 0.3, 0.8, 1.0}), makeStop(-18.0f, {0.0, 0.8, 0.4, 1.0}),
                    makeStop(-6.0f, {1.0, 0.85, 0.0, 1.0}), makeStop(0.0f, {1.0, 0.15, 0.1, 1.0})};
    settings_.addCustomGradient(preset);
    selectPreset(settings_.gradientPresets().back().id);
}

void GradientEditor::duplicatePreset()
{
    const std::optional<GradientPreset> preset = currentPreset();
    if (!preset) return;
    GradientPreset copy = settings_.duplicateGradient(*preset);
    copy.name = settings_.makeUniqueName(copy.name);
    settings_.addCustomGradient(copy);
    selectPreset(settings_.gradientPresets().back().id);
}

void GradientEditor::renamePreset(const QString &newName)
{
    const std::optional<GradientPreset> preset = currentPreset();
    const std::string name = newName.trimmed().toStdString();
    if (!preset || preset->isBuiltIn || name.empty() || name == preset->name) return;
    settings_.renameGradient(*preset, settings_.makeUniqueName(name));
}

void GradientEditor::deletePreset()
{
    const std::optional<GradientPreset> preset = currentPreset();
    if (!preset || preset->isBuiltIn) return;
    settings_.deleteGradient(*preset);
}

void GradientEditor::addStop(float levelDb)
{
    std::optional<GradientPreset> preset = currentPreset();
    if (!preset || preset->isBuiltIn) return;
    // The new stop takes the colour the gradient already has there: adding changes nothing
    // until the stop is moved or recoloured.
    GradientColorStop stop = makeStop(levelDb, preset->colorAt(levelDb));
    preset->stops.push_back(stop);
    std::stable_sort(preset->stops.begin(), preset->stops.end(),
                     [](const GradientColorStop &a, const GradientColorStop &b) { return a.levelDb < b.levelDb; });
    selectedStop_ = stop.id;
    store(*preset);
}

void GradientEditor::removeSelectedStop()
{
    std::optional<GradientPreset> preset = currentPreset();
    if (!preset || preset->isBuiltIn || !selectedStop_ || preset->stops.size() <= 2) return;
    std::erase_if(preset->stops, [this](const GradientColorStop &s) { return s.id == *selectedStop_; });
    selectedStop_.reset();
    store(*preset);
}

void GradientEditor::moveStop(const Uuid &stopId, float levelDb)
{
    std::optional<GradientPreset> preset = currentPreset();
    if (!preset || preset->isBuiltIn) return;
    const auto it = std::find_if(preset->stops.begin(), preset->stops.end(),
                                 [&stopId](const GradientColorStop &s) { return s.id == stopId; });
    if (it == preset->stops.end() || it->levelDb == levelDb) return;
    it->levelDb = levelDb;
    selectedStop_ = stopId;
    store(*preset);
}

void GradientEditor::setStopColor(const Uuid &stopId, const RgbColor &color)
{
    std::optional<GradientPreset> preset = currentPreset();
    if (!preset || preset->isBuiltIn) return;
    const auto it = std::find_if(preset->stops.begin(), preset->stops.end(),
                                 [&stopId](const GradientColorStop &s) { return s.id == stopId; });
    if (it == preset->stops.end()) return;
    it->red = color.red;
    it->green = color.green;
    it->blue = color.blue;
    selectedStop_ = stopId;
    store(*preset);
}

void GradientEditor::pickStopColor(const Uuid &stopId)
{
    const std::optional<GradientPreset> preset = currentPreset();
    if (!preset || preset->isBuiltIn) return;
    const auto it = std::find_if(preset->stops.begin(), preset->stops.end(),
                                 [&stopId](const GradientColorStop &s) { return s.id == stopId; });
    if (it == preset->stops.end()) return;
    const QColor chosen = QColorDialog::getColor(toQColor(it->color()), this, QStringLiteral("Stop Colour"));
    if (chosen.isValid()) setStopColor(stopId, {chosen.redF(), chosen.greenF(), chosen.blueF(), 1.0});
}

void GradientEditor::askRename()
{
    const std::optional<GradientPreset> preset = currentPreset();
    if (!preset || preset->isBuiltIn) return;
    bool accepted = false;
    const QString name = QInputDialog::getText(this, QStringLiteral("Rename Gradient"), QStringLiteral("Name:"),
                                               QLineEdit::Normal, QString::fromStdString(preset->name), &accepted);
    if (accepted) renamePreset(name);
}

void GradientEditor::exportCurrent()
{
    if (const std::optional<GradientPreset> preset = currentPreset())
        exchange_dialogs::exportGradient(this, *preset);
}
