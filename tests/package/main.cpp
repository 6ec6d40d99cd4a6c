// Loads the installed plug-in the way a host does and prints what it answers.
#include <icominterfacemodelprovider.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QPluginLoader>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (QFileInfo(PLUGIN_FILE).absolutePath() != QFileInfo(PLUGIN_DIR).absoluteFilePath())
        return 3;
    QPluginLoader loader(PLUGIN_FILE);
    auto *provider = qobject_cast<IComInterfaceModelProvider *>(loader.instance());
    if (!provider) {
        std::fprintf(stderr, "%s\n", qPrintable(loader.errorString()));
        return 1;
    }
    // Signals by member pointer: the consumer's own moc of the installed headers.
    int events = 0;
    QObject::connect(provider, &IComInterfaceModelProvider::eventPosted,
                     [&events](const ComProviderEvent &) { ++events; });
    emit provider->eventPosted(ComProviderEvent(0, "title", "message"));
    std::printf("%s %s %s %d\n", qPrintable(loader.metaData().value("IID").toString()),
                qPrintable(provider->vendor()), qPrintable(provider->name()), events);
    delete provider;
    return 0;
}
