// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The document commands (commands/document.cpp): each result, and each refusal of a document that
// is not there, not open, too long or being embossed.

#include "simcoretest.h"

using namespace SimTest;

class DocumentTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandResults_data()
    {
        addResultColumns();

        using namespace ls;
        QTest::newRow("OpenDocument, title of three words")
                << Steps()
                << step(DocumentCommandId::OpenDocument,
                        {QStringLiteral("Letter"), QStringLiteral("to"), QStringLiteral("Anna")})
                << QVariantMap{{QStringLiteral("documentId"), 1},
                               {QStringLiteral("title"), QStringLiteral("Letter to Anna")},
                               {QStringLiteral("state"), QStringLiteral("open")}};
        QTest::newRow("OpenDocument, second gets the next id")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::DeleteDocument, {one})})
                << step(DocumentCommandId::OpenDocument, {QString()})
                << QVariantMap{{QStringLiteral("documentId"), 2},
                               {QStringLiteral("title"), QString()},
                               {QStringLiteral("state"), QStringLiteral("open")}};
        QTest::newRow("AddText abc")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")})})
                << step(DocumentCommandId::AddText, {one, QStringLiteral("abc")})
                << documentInfo(1, QStringLiteral("A"), QStringLiteral("open"), 3, 3, 1, 1);
        QTest::newRow("AddText appends, double blank kept")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::AddText, {one, QStringLiteral("ab")})})
                << step(DocumentCommandId::AddText,
                        {one, QString(), QString(), QStringLiteral("cd")})
                << documentInfo(1, QStringLiteral("A"), QStringLiteral("open"), 6, 6, 1, 1);
        // U+1F642, two UTF-16 units, one character.
        const QString smiley = QString::fromUcs4(U"\U0001F642");
        QTest::newRow("AddText, a character beyond the BMP counts once")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")})})
                << step(DocumentCommandId::AddText, {one, QStringLiteral("Hello"), smiley})
                // The smiley has no braille of its own: liblouis spells out its code in 9 cells.
                << documentInfo(1, QStringLiteral("A"), QStringLiteral("open"), 7, 16, 1, 1);
        QTest::newRow("OpenDocument, 200 characters beyond the BMP")
                << Steps() << step(DocumentCommandId::OpenDocument, {smiley.repeated(200)})
                << QVariantMap{{QStringLiteral("documentId"), 1},
                               {QStringLiteral("title"), smiley.repeated(200)},
                               {QStringLiteral("state"), QStringLiteral("open")}};
        QTest::newRow("CloseDocument")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::AddText, {one, QStringLiteral("abc")})})
                << step(DocumentCommandId::CloseDocument, {one})
                << documentInfo(1, QStringLiteral("A"), QStringLiteral("closed"), 3, 3, 1, 1);
        QTest::newRow("CloseDocument, empty")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")})})
                << step(DocumentCommandId::CloseDocument, {one})
                << documentInfo(1, QStringLiteral("A"), QStringLiteral("closed"), 0, 0, 0, 0);
        QTest::newRow("ListDocuments, none")
                << Steps() << step(DocumentCommandId::ListDocuments)
                << QVariantMap{{QStringLiteral("documentCount"), 0},
                               {QStringLiteral("openDocuments"), 0},
                               {QStringLiteral("documentIds"), QString()}};
        QTest::newRow("ListDocuments, one closed and one open")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("First")}),
                          step(DocumentCommandId::CloseDocument, {one}),
                          step(DocumentCommandId::OpenDocument,
                               {QStringLiteral("Second"), QStringLiteral("one")})})
                << step(DocumentCommandId::ListDocuments)
                << QVariantMap{{QStringLiteral("documentCount"), 2},
                               {QStringLiteral("openDocuments"), 1},
                               {QStringLiteral("documentIds"), QStringLiteral("1,2")},
                               {QStringLiteral("document1"), QStringLiteral("First (closed)")},
                               {QStringLiteral("document2"), QStringLiteral("Second one (open)")}};
        QVariantMap info = documentInfo(1, QStringLiteral("A"), QStringLiteral("open"), 7, 7, 1, 1);
        info.insert(QStringLiteral("text"), QStringLiteral("abc def"));
        info.insert(QStringLiteral("braille"), QStringLiteral("⠁⠃⠉⠀⠙⠑⠋"));
        QTest::newRow("GetDocumentInfo")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::AddText,
                               {one, QStringLiteral("abc"), QStringLiteral("def")})})
                << step(DocumentCommandId::GetDocumentInfo, {one}) << info;
        QTest::newRow("DeleteDocument")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::OpenDocument, {QStringLiteral("B")})})
                << step(DocumentCommandId::DeleteDocument, {one})
                << QVariantMap{{QStringLiteral("documentId"), 1},
                               {QStringLiteral("deleted"), true},
                               {QStringLiteral("documentCount"), 1}};
    }

    void commandResults() { verifyResultRow(); }

    void commandErrors_data()
    {
        addErrorColumns();

        using namespace ls;
        const QString smiley = QString::fromUcs4(U"\U0001F642");
        QTest::newRow("title too long")
                << Steps()
                << step(DocumentCommandId::OpenDocument, {QString(201, QLatin1Char('t'))})
                << argument;
        QTest::newRow("title of 201 characters beyond the BMP too long")
                << Steps() << step(DocumentCommandId::OpenDocument, {smiley.repeated(201)})
                << argument;
        QTest::newRow("document would grow too long")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::AddText,
                               {one, QString(65536, QLatin1Char('a'))})})
                << step(DocumentCommandId::AddText, {one, QStringLiteral("a")}) << argument;
        QTest::newRow("delete the document being embossed")
                << embossingJob() << step(DocumentCommandId::DeleteDocument, {one}) << busy;
        QTest::newRow("text to a document never opened")
                << Steps()
                << step(DocumentCommandId::AddText, {QStringLiteral("7"), QStringLiteral("x")})
                << noDocument;
        QTest::newRow("close unknown")
                << Steps() << step(DocumentCommandId::CloseDocument, {one}) << noDocument;
        QTest::newRow("info of a deleted document")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::DeleteDocument, {one})})
                << step(DocumentCommandId::GetDocumentInfo, {one}) << noDocument;
        QTest::newRow("delete unknown")
                << Steps() << step(DocumentCommandId::DeleteDocument, {one}) << noDocument;
        QTest::newRow("text to a closed document")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::CloseDocument, {one})})
                << step(DocumentCommandId::AddText, {one, QStringLiteral("x")}) << state;
        QTest::newRow("close twice")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::CloseDocument, {one})})
                << step(DocumentCommandId::CloseDocument, {one}) << state;
    }

    void commandErrors() { verifyErrorRow(); }
};

QTEST_GUILESS_MAIN(DocumentTest)
#include "tst_document.moc"
