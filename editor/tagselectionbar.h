#pragma once

#include <QSet>
#include <QStringList>
#include <QWidget>

class FlowLayout;
class QCompleter;
class QFrame;
class QLineEdit;
class QStringListModel;

// Trims each name, drops empty ones and later duplicates (ignoring case), keeping the order.
QStringList normalizedTagNames(const QStringList &names);

// The controllers linked to a profile, as removable chips followed by a field that completes over
// the connected controllers. The chips wrap onto further lines. Names compare ignoring case.
class TagSelectionBar : public QWidget
{
    Q_OBJECT

public:
    explicit TagSelectionBar(QWidget *parent = nullptr);

    // The names of the connected controllers: the completion list, and the chips' "connected".
    QStringList availableTags() const { return m_available; }
    void setAvailableTags(const QStringList &tags);
    QStringList selectedTags() const { return m_selected; }
    // Emits selectedTagsChanged when the content differs from the current one.
    void setSelectedTags(const QStringList &tags);

signals:
    void selectedTagsChanged(const QStringList &tags);

private:
    void addTag(const QString &text);
    void removeTag(const QString &name);
    void removeLastTag();
    void commitTag(const QString &text);
    void openCompletion();
    void refreshCompleter();
    void rebuildChips();
    QFrame *createChip(const QString &name);
    void showConnected(QFrame *chip) const;

    QWidget *m_area = nullptr;
    FlowLayout *m_flow = nullptr;
    QLineEdit *m_input = nullptr;
    QCompleter *m_completer = nullptr;
    QStringListModel *m_completionModel = nullptr;
    QList<QFrame *> m_chips;
    QStringList m_available;
    QSet<QString> m_connected; // the available names, case-folded
    QStringList m_selected;
};
