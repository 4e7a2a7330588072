#ifndef BENCHMARKS_BARETABLE_H
#define BENCHMARKS_BARETABLE_H

class QByteArray;
class QStandardItemModel;

/// A group of so many trackers as the service sends it, each with three periods.
QByteArray groupOf(int iTrackers);
constexpr int FirstSerialNumber = 1000000; // in the group's order

/// The work behind a reply that no client can leave out, and no more: the log holds what it must,
/// the body is parsed, each member is read once and by a key that needs no conversion, and the
/// model gets the items that the window's has, by the same calls in the same order. No view looks
/// at it and no widget is touched.
void buildBareTable(QStandardItemModel *pModel, const QByteArray &baBody);

/// Whether two models hold the same, down to every role; lights are compared as pictures.
bool isSameTable(const QStandardItemModel *pOne, const QStandardItemModel *pOther);

#endif // BENCHMARKS_BARETABLE_H
