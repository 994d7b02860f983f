#pragma once

#include "events/eventtype.h"

#include <QObject>
#include <QStringList>

/// The dictionary of event types: the built-in names and the types made by the user, in order of creation, with a
/// colour each. The user's types are kept in a text file, rewritten with every change.
///
/// Lives in the thread of its owner, the program's main function, which passes it to whoever shows types. A list, not
/// a map: two types may bear the same name, and name look-ups give the first.
class eventTypeNames : public QObject
{
    Q_OBJECT

public:
    struct UserType
    {
        eventType type;
        QString colour; // "#rrggbb"

        friend bool operator==(const UserType &a, const UserType &b)
        {
            return a.type == b.type && a.colour == b.colour;
        }
    };

    /// `filePath` is the file of the user's types; empty keeps them in memory only.
    explicit eventTypeNames(const QString &filePath = QString(), QObject *parent = nullptr);

    /// Reads the user's types. True without a file; false with a reason when it cannot be read, nothing changes then,
    /// and changes are not written over it.
    bool load(QString *error = nullptr);

    /// The 13 built-in names, then those of the user's types.
    QStringList names() const;
    int userTypeCount() const { return m_entries.size(); }
    /// A type of the user by position, a type without a name out of range.
    eventType userType(int index) const { return m_entries.value(index).type; }
    /// The user's types with their colours, and all of them put in place of what there is.
    const QVector<UserType> &userTypes() const { return m_entries; }
    bool setUserTypes(const QVector<UserType> &types, QString *error = nullptr);
    /// One type for each of names(): a built-in one is only a name.
    QVector<eventType> types() const;
    /// "event L%1", offered for a type without a title.
    QString defaultName() const;

    /// "#rrggbb" of a name, of the first palette entry for an unknown one; the light one is its companion on dark.
    QString colour(const QString &name) const;
    QString lightColour(const QString &name) const;
    /// A kept colour as it is shown on a light or a dark background.
    static QString shownColour(const QString &colour, bool onDark);
    /// What a type without a colour gets next.
    QString nextColour() const;
    static QStringList paletteColours();

    /// Appends a type; an empty or invalid colour takes the next of the palette. The type is in the dictionary in any
    /// case, false says that it could not be written.
    bool add(const eventType &type, const QString &colour = QString(), QString *error = nullptr);
    /// Removes a type of the user; nothing happens out of range.
    bool remove(int userIndex, QString *error = nullptr);

signals:
    void dictionaryUpdated();

private:
    bool save(QString *error) const;

    QString m_filePath;
    QVector<UserType> m_entries;
    bool m_unreadable = false; // the file holds what could not be read
};
