#include "demo/ReleaseContent.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QFile>

#include <stdexcept>

namespace brindle {

std::unique_ptr<QIODevice> ReleaseContent::open() const
{
    std::unique_ptr<QIODevice> device;
    if (file_.isEmpty()) {
        auto buffer = std::make_unique<QBuffer>();
        buffer->setData(bytes_);
        device = std::move(buffer);
    } else {
        device = std::make_unique<QFile>(file_);
    }
    if (!device->open(QIODevice::ReadOnly)) {
        return nullptr;
    }
    return device;
}

QByteArray ReleaseContent::sha512() const
{
    const std::unique_ptr<QIODevice> device = open();
    QCryptographicHash hash(QCryptographicHash::Sha512);
    if (!device || !hash.addData(device.get())) {
        throw std::runtime_error("can't read " + file_.toStdString());
    }
    return hash.result().toHex();
}

} // namespace brindle
