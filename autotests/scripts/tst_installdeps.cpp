// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString script = QStringLiteral(INSTALL_DEPS_SCRIPT);

} // namespace

// Runs install-deps.sh with a PATH of stand-ins: id tells who the user is, dpkg-query which
// packages are installed, and sudo and apt-get only write down how they were called.
class TestInstallDeps : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("bin")));
    }

    void cleanup() { m_dir.reset(); }

    void run_data()
    {
        addColumns<int, bool, QByteArray, int, QByteArray, QByteArray>(
                "uid", "hasSudo", "missing", "exitCode", "stderrText", "calls");

        QTest::newRow("not root, no sudo: names the packages and stops")
                << 1000 << false << QByteArray("pkg-config liblouis-data") << 1
                << QByteArray("install-deps.sh: missing packages: pkg-config liblouis-data\n"
                              "install-deps.sh: run as root or install sudo\n")
                << QByteArray();
        QTest::newRow("not root, with sudo: installs through sudo")
                << 1000 << true << QByteArray("pkg-config liblouis-data") << 0
                << QByteArray("Installing: pkg-config liblouis-data\n")
                << QByteArray("sudo apt-get update -qq\n"
                              "sudo apt-get install -y -qq --no-install-recommends pkg-config "
                              "liblouis-data\n");
        QTest::newRow("root without sudo: installs directly")
                << 0 << false << QByteArray("cmake") << 0 << QByteArray("Installing: cmake\n")
                << QByteArray("apt-get update -qq\n"
                              "apt-get install -y -qq --no-install-recommends cmake\n");
        QTest::newRow("not root, no sudo, nothing missing: nothing to do")
                << 1000 << false << QByteArray() << 0 << QByteArray() << QByteArray();
    }

    void run()
    {
        QFETCH(int, uid);
        QFETCH(bool, hasSudo);
        QFETCH(QByteArray, missing);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, stderrText);
        QFETCH(QByteArray, calls);

        const QByteArray log = m_dir->filePath(QStringLiteral("calls")).toUtf8();
        writeTool(QStringLiteral("id"), "echo " + QByteArray::number(uid) + "\n");
        // Installed unless named in FAKE_MISSING; the package is the last argument.
        writeTool(QStringLiteral("dpkg-query"),
                  "for p; do :; done\n"
                  "case \" $FAKE_MISSING \" in *\" $p \"*) exit 1 ;; esac\n"
                  "printf 'install ok installed'\n");
        writeTool(QStringLiteral("apt-get"), "echo \"apt-get $*\" >> '" + log + "'\n");
        if (hasSudo)
            writeTool(QStringLiteral("sudo"), "echo \"sudo $*\" >> '" + log + "'\n");
        linkTool(QStringLiteral("bash"));
        linkTool(QStringLiteral("grep"));

        QProcess process;
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("PATH"), m_dir->filePath(QStringLiteral("bin")));
        environment.insert(QStringLiteral("FAKE_MISSING"), QString::fromUtf8(missing));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral("/usr/bin/env"), {QStringLiteral("bash"), script});
        QVERIFY(process.waitForFinished(30000));

        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.readAllStandardError(), stderrText);
        QCOMPARE(process.exitCode(), exitCode);
        QFile written(QString::fromUtf8(log));
        const QByteArray made
                = written.open(QIODevice::ReadOnly) ? written.readAll() : QByteArray();
        QCOMPARE(made, calls);
    }

private:
    void writeTool(const QString &name, const QByteArray &body)
    {
        QFile file(m_dir->filePath(QStringLiteral("bin/") + name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write("#!/bin/sh\n" + body) > 0);
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    // The real tool, for what the script needs besides the stand-ins.
    void linkTool(const QString &name)
    {
        const QString real = QStandardPaths::findExecutable(name);
        QVERIFY2(!real.isEmpty(), qPrintable(name));
        QVERIFY(QFile::link(real, m_dir->filePath(QStringLiteral("bin/") + name)));
    }

    std::unique_ptr<QTemporaryDir> m_dir;
};

QTEST_GUILESS_MAIN(TestInstallDeps)

#include "tst_installdeps.moc"
