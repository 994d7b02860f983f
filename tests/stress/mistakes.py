#!/usr/bin/env python3
"""Plants mistakes in a copy of the sources, one at a time, and shows that the torture program finds each.

usage: scripts/mistakes [--list | --check] [NAME...]
"""

import pathlib
import shlex
import shutil
import subprocess
import sys
import time

TOP = pathlib.Path(__file__).resolve().parents[2]
COPY = TOP / "build" / "mistakes"
CODE = COPY / "source"
BUILD = CODE / "build" / "release"

# name, file below src/, text, text in its place, arguments of norvex-stress
MISTAKES = [
    ("clear-before-sync", "sensor/arcsensorlink.cpp", "    if (!m_store) {\n        answer(true);",
     "    if (!m_store || m_port > 0) {\n        answer(true);", "power --seconds 240"),
    ("journal-not-synced", "data/journalwriter.cpp", "if (!platform::syncFile(m_file))", "if (!m_file.isOpen())",
     "power --seconds 240"),
    ("journal-name-not-synced", "data/journalwriter.cpp", "if (m_syncedSize == 0 && !platform::syncFolder(m_folder))",
     "if (m_syncedSize < 0)", "power --seconds 240"),
    ("journal-write-error-ignored", "data/journalwriter.cpp",
     "if (!::writeAll(m_file, bytes.constData(), bytes.size(), reason))\n            return false;",
     "::writeAll(m_file, bytes.constData(), bytes.size(), reason);", "error --seconds 90"),
    ("journal-sync-error-ignored", "data/journalwriter.cpp",
     "if (!platform::syncFile(m_file))\n        return fail(reason, CoreText::tr(\"%1 cannot be synced\").arg(m_file.fileName()));\n"
     "    if (m_syncedSize == 0 && !platform::syncFolder(m_folder))\n"
     "        return fail(reason, CoreText::tr(\"%1 cannot be synced\").arg(m_folder));",
     "if (platform::syncFile(m_file) && m_syncedSize == 0)\n        (void)platform::syncFolder(m_folder);",
     "error --every --seconds 300 --only 'recording, not synced, lasting'"),
    ("journal-checksum-ignored", "data/journalfile.cpp",
     "bytes + offset + 8, next - offset - 8) != sum)", "bytes + offset + 8, next - offset - 8) == sum + 1)",
     "power --seconds 240"),
    ("journal-removed-early", "session/session.cpp",
     "    const QVector<SensorEntry> entries = sensors();\n    const QString folder = path();",
     "    if (m_journal)\n        m_journal->commit(generation);\n"
     "    const QVector<SensorEntry> entries = sensors();\n    const QString folder = path();", "kill --seconds 60"),
    ("journal-removed-after-failed-save", "session/session.cpp", "if (ok && m_journal)", "if (m_journal)",
     "error --seconds 90"),
    ("events-not-in-journal", "data/norvexdata.cpp",
     "    logChange(DurableLog::Record::Event, [&event] { return eventfile::encode(event); });\n", "",
     "kill --seconds 60"),
    ("rename-without-sync", "base/safefile.cpp", "if (!m_temporary.flush() || !platform::syncFile(m_temporary))",
     "if (!m_temporary.flush())", "power --seconds 240"),
    ("rename-not-synced", "base/safefile.cpp",
     "if (syncFolder == SyncFolder::Now && !platform::syncFolder(QFileInfo(m_path).absolutePath()))",
     "if (syncFolder != SyncFolder::Now && m_path.isEmpty())", "power --seconds 240"),
    ("written-in-place", "base/safefile.cpp", "SafeFile::SafeFile(const QString &path) : m_path(path), m_temporary(temporaryName(path)) {}",
     "SafeFile::SafeFile(const QString &path) : m_path(path), m_temporary(path) { QFile::remove(path); (void)temporaryName; }",
     "kill --seconds 60"),
    ("index-without-backup", "data/storesaver.cpp", "if (m_hasBackup && !makeBackup())",
     "if (m_hasBackup && m_indexPath.isEmpty() && !makeBackup())", "power --seconds 240"),
    ("backup-not-synced", "data/storefiles.cpp", "    if (!platform::syncFile(target))\n        return fail(reason, CoreText::tr(\"cannot be synced\"));\n    return true;",
     "    return true;", "power --seconds 240"),
    ("unsaved-block-forgotten", "data/datablock.cpp", "m_modified = true; // before", "m_modified = m_samples.size() < 40; // before",
     "kill --seconds 60"),
    ("clear-one-too-far", "sensor/downloadplan.cpp", "return {DownloadStep::Clear, quint64(m_points - 1), 0};",
     "return {DownloadStep::Clear, quint64(m_points), 0};", "link --seconds 60"),
    ("clear-sent-again", "sensor/sensorworker.cpp", "= sensorrequest::runsOnce(url);", "= url.isEmpty();",
     "link --seconds 60 --only clear"),
    ("short-page-counted-whole", "sensor/downloadplan.cpp", "m_dataIndex += quint64(n);", "m_dataIndex += pageLimit;",
     "link --seconds 60 --only cut"),
    ("restart-not-recognised", "sensor/timebase.cpp",
     "if (!last.known || candidate.uptimeMs < 0 || candidate.uptimeMs < last.uptimeMs)\n        return true;",
     "if (last.known)\n        return false;\n    if (!last.known || candidate.uptimeMs < 0)\n        return true;",
     "link --seconds 90 --only reboot"),
    ("stored-samples-not-recognised", "sensor/recognition.h", "return same > other && telling; }",
     "return same > other && telling && same < 0; }", "link --seconds 90 --only kept"),
    ("reply-without-bound", "sensor/replyparser.h", "headBytes = 64 * 1024;", "headBytes = 2'000'000'000;",
     "link --seconds 60 --only endless"),
    ("one-keeps-others-waiting", "sensor/arcsensor.cpp", "    d->takeTimeOut();\n",
     "    d->takeTimeOut();\n    QThread::msleep(300);\n", "link --seconds 60 --only hang"),
]


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)


def copy_sources():
    """Only what differs is touched, so that little is built again."""
    names = run(["git", "-C", str(TOP), "ls-files", "--cached", "--others", "--exclude-standard"]).stdout.split("\n")
    for name in filter(None, names):
        source, target = TOP / name, CODE / name
        if not source.is_file() or (target.is_file() and target.read_bytes() == source.read_bytes()):
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)


def build():
    """As the preset does, in the same place of the tree: a compiler cache that is shared has most of it."""
    if not (BUILD / "build.ninja").exists():
        run(["cmake", "--preset", "release"], cwd=CODE, check=True)
    built = run(["cmake", "--build", str(BUILD), "--target", "norvex-stress", "norvex-cli", "norvex-sensor-sim"])
    if built.returncode:
        print(built.stdout[-3000:])
    return built.returncode == 0


def first_failure(arguments):
    tried = run([str(BUILD / "bin" / "norvex-stress"), "--stop"] + shlex.split(arguments), timeout=600)
    return next((line for line in tried.stdout.split("\n") if line.startswith("FAILED")), "")


def misplaced(mistake, top):
    file, text = mistake[1:3]
    found = (top / "src" / file).read_text().count(text)
    return "" if found == 1 else "its place in %s is there %d times, not once" % (file, found)


def check():
    """Whether the code is still as the mistakes expect it. Builds nothing."""
    problems = ["%-34s %s" % (mistake[0], misplaced(mistake, TOP)) for mistake in MISTAKES if misplaced(mistake, TOP)]
    print("\n".join(problems or ["every mistake has its place"]))
    return 1 if problems else 0


def plant(mistake):
    name, file, text, instead, arguments = mistake
    if misplaced(mistake, CODE):
        return misplaced(mistake, CODE)
    path = CODE / "src" / file
    good = path.read_text()
    path.write_text(good.replace(text, instead))
    try:
        if not build():
            return "it does not build"
        started = time.monotonic()
        found = first_failure(arguments)
        if not found:
            return "NOT FOUND by norvex-stress %s" % arguments
        print("%-34s found after %3.0f s: %s" % (name, time.monotonic() - started, found[:150]), flush=True)
        return ""
    finally:
        path.write_text(good)


def main():
    wanted = [argument for argument in sys.argv[1:] if not argument.startswith("-")]
    if "-h" in sys.argv or "--help" in sys.argv:
        print(__doc__.strip())
        return 0
    if "--list" in sys.argv:
        print("\n".join(mistake[0] for mistake in MISTAKES))
        return 0
    if "--check" in sys.argv:
        return check()
    copy_sources()
    print("building the sources as they are", flush=True)
    if not build():
        return 1
    failures = 0
    for mistake in MISTAKES:
        if wanted and mistake[0] not in wanted:
            continue
        problem = plant(mistake)
        if problem:
            failures += 1
            print("%-34s %s" % (mistake[0], problem), flush=True)
    print("%d of the mistakes were not found" % failures if failures else "every mistake was found")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
