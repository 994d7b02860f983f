#include "export/csvspool.h"

namespace {

constexpr int pieceSize = 1 << 20;

} // namespace

CsvSpool::CsvSpool(const QString &target, int memoryLimit)
    : m_file(target + QStringLiteral(".XXXXXX.norvex-tmp")), m_memoryLimit(memoryLimit)
{}

void CsvSpool::takeIn()
{
    if (m_error.isEmpty() && m_lines.size() < m_memoryLimit)
        return;
    if (m_error.isEmpty() && !m_file.isOpen() && !m_file.open())
        m_error = m_file.errorString();
    if (m_error.isEmpty() && (m_file.write(m_lines) != m_lines.size() || !m_file.flush()))
        m_error = m_file.errorString();
    m_fileSize += m_lines.size();
    m_lines.resize(0);
}

bool CsvSpool::forEachPiece(const std::function<bool(const QByteArray &)> &take)
{
    if (!m_error.isEmpty())
        return false;
    if (m_file.isOpen()) {
        m_file.seek(0);
        for (qint64 done = 0; done < m_fileSize;) {
            const QByteArray piece = m_file.read(pieceSize);
            if (piece.isEmpty()) {
                m_error = m_file.errorString();
                return false;
            }
            done += piece.size();
            if (!take(piece))
                return false;
        }
    }
    return m_lines.isEmpty() || take(m_lines);
}
