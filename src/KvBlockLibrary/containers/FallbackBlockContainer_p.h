#pragma once

#include <QtCore/QObject>

class FallbackBlockContainer;

// The fallback container's own state: only the way back to its container. A Qt child of
// the container, so it goes with it.
class FallbackBlockContainerPrivate : public QObject
{
    Q_OBJECT

public:
    explicit FallbackBlockContainerPrivate(FallbackBlockContainer *container);

    FallbackBlockContainer *const q;
};
