#include "shell/images/StationeryPicker.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QPainter>
#include <QPushButton>
#include <QApplication>
#include <QSaveFile>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "objects/qt/ImageOps.h"
#include "objects/qt/QtImageCodec.h"
#include "objects/qt/StationeryPapers.h"

namespace velumen {

StationeryPicker::StationeryPicker(QString customFolder, QWidget* parent)
    : QDialog(parent), customFolder_(std::move(customFolder)) {
    setWindowTitle("Stationery");
    resize(320, 640);
    thumbnailQueue_.setMaxThreadCount(1);
    thumbnailCache_.setMaxCost(50);
    auto* layout = new QVBoxLayout(this);
    stack_ = new QStackedWidget(this);
    layout->addWidget(stack_);

    firstLevel_ = new QListWidget(this);
    firstLevel_->setIconSize(QSize(60, 75));
    for (const StationeryChoice& row : stationeryChoices()) {
        QImage thumb = drawStationeryPaper(row.paper, 60);
        if (row.isCustom) {
            QPainter p(&thumb);
            p.setPen(Qt::darkGray);
            p.drawText(thumb.rect(), Qt::AlignCenter, "+");
        }
        auto* item = new QListWidgetItem(QIcon(QPixmap::fromImage(thumb)), row.title + (row.isCustom ? "  \u203A" : ""));
        firstLevel_->addItem(item);
    }
    connect(firstLevel_, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) { selectRow(firstLevel_->row(item)); });
    stack_->addWidget(firstLevel_);

    auto* custom = new QWidget(this);
    auto* customLayout = new QVBoxLayout(custom);
    auto* bar = new QHBoxLayout;
    auto* back = new QPushButton("\u2039 Stationery", custom);
    auto* title = new QLabel("Custom", custom);
    auto* add = new QPushButton("+", custom);
    add->setObjectName("addCustomStationery");
    bar->addWidget(back);
    bar->addWidget(title, 1, Qt::AlignCenter);
    bar->addWidget(add);
    customLayout->addLayout(bar);
    customList_ = new QListWidget(custom);
    customList_->setIconSize(QSize(100, 100));
    customList_->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* remove = new QAction("Delete", customList_);
    remove->setShortcut(QKeySequence::Delete);
    customList_->addAction(remove);
    connect(remove, &QAction::triggered, this, [this] {
        if (QListWidgetItem* item = customList_->currentItem()) {
            removeCustomImageWithUrl(item->data(Qt::UserRole).toString());
            delete item;
        }
    });
    customLayout->addWidget(customList_);
    stack_->addWidget(custom);
    connect(back, &QPushButton::clicked, this, [this] { stack_->setCurrentIndex(0); });
    connect(add, &QPushButton::clicked, this, [this] {
        if (requestAddCustomImage) requestAddCustomImage();
    });
    connect(customList_, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { selectCustomFile(item->data(Qt::UserRole).toString()); });
    auto* cancel = new QPushButton("Cancel", this);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    layout->addWidget(cancel);
}

StationeryPicker::~StationeryPicker() {
    *alive_ = false;
    thumbnailQueue_.waitForDone();
}

QString StationeryPicker::addCustomImage(const QString& folder, const KImage& image) {
    if (image.isEmpty() || !QDir().mkpath(folder)) return {};
    const auto jpeg = QtImageCodec().encodeJpeg(image, 0.8);
    if (!jpeg) return {};
    QString path;
    for (int n = 1;; ++n) {
        path = QDir(folder).filePath(QString("Image %1.jpg").arg(n));
        if (!QFileInfo::exists(path)) break;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return {};
    file.write(reinterpret_cast<const char*>(jpeg->data()), qint64(jpeg->size()));
    return file.commit() ? path : QString();
}

QStringList StationeryPicker::getCustomImageFileList(const QString& folder) {
    QStringList paths;
    const QFileInfoList files = QDir(folder).entryInfoList({"*.jpg"}, QDir::Files, QDir::Time);
    for (const QFileInfo& f : files)
        paths << f.absoluteFilePath();
    return paths;
}

void StationeryPicker::removeCustomImageWithUrl(const QString& path) {
    QFile::remove(path);
}

void StationeryPicker::showCustomList() {
    reloadCustomList();
    stack_->setCurrentIndex(1);
}

void StationeryPicker::reloadCustomList() {
    customList_->clear();
    for (const QString& path : getCustomImageFileList(customFolder_)) {
        auto* item = new QListWidgetItem(QFileInfo(path).completeBaseName());
        item->setData(Qt::UserRole, path);
        customList_->addItem(item);
        if (QImage* cached = thumbnailCache_.object(path))
            item->setIcon(QIcon(QPixmap::fromImage(*cached)));
        else
            requestThumbnail(item, path);
    }
}

void StationeryPicker::requestThumbnail(QListWidgetItem* item, const QString& path) {
    QPointer<QListWidget> list = customList_;
    const std::shared_ptr<bool> alive = alive_;
    thumbnailQueue_.start([this, alive, list, path, row = customList_->row(item)] {
        std::string error;
        const KImage full = readPictureFile(path, 2048, error);
        const QImage thumb = full.isEmpty()
                                 ? QImage()
                                 : qImageView(imageByScalingAndCroppingForSize(full, {400, 400}, false)).copy();
        QMetaObject::invokeMethod(
            qApp, [this, alive, list, path, row, thumb] {
                if (!*alive || !list || thumb.isNull()) return;
                thumbnailCache_.insert(path, new QImage(thumb), 1);
                QListWidgetItem* shown = list->item(row);
                if (shown && shown->data(Qt::UserRole).toString() == path)
                    shown->setIcon(QIcon(QPixmap::fromImage(thumb)));
            },
            Qt::QueuedConnection);
    });
}

void StationeryPicker::selectRow(int row) {
    const auto& rows = stationeryChoices();
    if (row < 0 || std::size_t(row) >= rows.size()) return;
    const StationeryChoice& choice = rows[std::size_t(row)];
    if (choice.isCustom) {
        showCustomList();
        return;
    }
    KImagePtr image;
    if (choice.isPaper) image = std::make_shared<const KImage>(kImageFromQImage(drawStationeryPaper(choice.paper, 1536)));
    if (didSelectBackgroundImage) didSelectBackgroundImage(image, false);
    accept();
}

void StationeryPicker::selectCustomFile(const QString& path) {
    std::string error;
    const KImage image = readPictureFile(path, 4096, error);
    // Chosen last, shown first next time.
    QFile file(path);
    if (file.open(QIODevice::ReadWrite)) file.setFileTime(QDateTime::currentDateTime(), QFileDevice::FileModificationTime);
    KImagePtr chosen = image.isEmpty() ? nullptr : std::make_shared<const KImage>(image);
    if (didSelectBackgroundImage) didSelectBackgroundImage(chosen, true);
    accept();
}

}  // namespace velumen
