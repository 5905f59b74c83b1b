#pragma once

#include "core/AppState.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

/// The values of the model's `phase`, for views: Phase.Downloading and so on.
namespace brindle::Phase {

Q_NAMESPACE
QML_ELEMENT

enum Value {
    NotDownloaded = static_cast<int>(AppState::Phase::notDownloaded),
    Downloading = static_cast<int>(AppState::Phase::downloading),
    SettingUp = static_cast<int>(AppState::Phase::settingUp),
    Needs = static_cast<int>(AppState::Phase::needs),
    Ready = static_cast<int>(AppState::Phase::ready),
    Starting = static_cast<int>(AppState::Phase::starting),
    Playing = static_cast<int>(AppState::Phase::playing),
};
Q_ENUM_NS(Value)

} // namespace brindle::Phase
