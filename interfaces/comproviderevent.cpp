#include "comproviderevent.h"

void registerComProviderEventType()
{
    qRegisterMetaType<ComProviderEvent>("ComProviderEvent");
}
