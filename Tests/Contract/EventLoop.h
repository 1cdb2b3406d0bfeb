#pragma once

#include "Contract/Eventually.h"

#include <QCoreApplication>
#include <QEventLoop>

namespace glimmerwick::contract {

/// Handles events until the condition holds; whether it came true in time.
inline bool handleEventsUntil(const std::function<bool()>& condition)
{
    return eventually(condition, [] { QCoreApplication::processEvents(QEventLoop::AllEvents, 10); });
}

} // namespace glimmerwick::contract
