#ifndef DEVICE_H
#define DEVICE_H

#include "requesthandler.h"

#include <QString>

struct DeviceOptions
{
    // Pages advance one per request instead of with time, so runs are repeatable.
    bool stepPerRequest = false;
    // Where each embossed page is written as Unicode braille; nothing is written when empty.
    QString outputDirectory;
    // Where the device's state is kept across restarts; nothing is kept when empty.
    QString stateFile;
};

// The simulated embossing device: its catalogue, its state and the answers to every request.
class Device : public RequestHandler
{
public:
    explicit Device(const DeviceOptions &options);
    ~Device() override;

    QVariantMap handle(const QVariantMap &request) override;
};

#endif // DEVICE_H
