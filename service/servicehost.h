#ifndef SERVICE_SERVICEHOST_H
#define SERVICE_SERVICEHOST_H

class QString;

/// The one host that every request goes to, as "host" or "host:port". Its source belongs to the
/// program and not to the object library, so that a test links its own and reaches a free port.
QString serviceHost();

#endif // SERVICE_SERVICEHOST_H
