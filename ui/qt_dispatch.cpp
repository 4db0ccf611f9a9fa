#include "ui/qt_dispatch.h"

#include <QCoreApplication>
#include <QEvent>

namespace tonalith {

namespace {

const QEvent::Type kRunQueuedEvent = static_cast<QEvent::Type>(QEvent::registerEventType());

}  // namespace

QtDispatch::QtDispatch(Dispatcher& dispatcher, QObject* parent) : QObject(parent), dispatcher_(dispatcher) {
  dispatcher_.SetWakeUp([this] { QCoreApplication::postEvent(this, new QEvent(kRunQueuedEvent)); });
}

QtDispatch::~QtDispatch() {
  dispatcher_.SetWakeUp({});
}

bool QtDispatch::event(QEvent* event) {
  if (event->type() != kRunQueuedEvent) return QObject::event(event);
  dispatcher_.RunQueued();
  return true;
}

}  // namespace tonalith
