#include "tools/conform/report.h"

#include <sstream>

#include "base/json.h"
#include "base/xml.h"

namespace corvenna::conform {
namespace {

using Json = rapidjson::Writer<rapidjson::StringBuffer>;

const char *Word(Verdict verdict) {
    switch (verdict) {
        case Verdict::kKept:
            return "kept";
        case Verdict::kBroken:
            return "broken";
        case Verdict::kNotJudged:
            break;
    }
    return "not judged";
}

/// What others sent may be any bytes; none of them steers a terminal or spoils a document.
std::string Plain(const std::string &text) {
    std::string plain;
    for (const char letter : text) {
        const bool printable = letter >= ' ' && letter <= '~';
        plain += printable ? letter : '.';
    }
    return plain;
}

std::string Counts(const Report &report) {
    std::ostringstream out;
    out << report.Count(Verdict::kKept) << " kept, " << report.Count(Verdict::kBroken)
        << " broken, " << report.Count(Verdict::kNotJudged) << " not judged";
    return out.str();
}

void WriteJudgement(std::ostream &out, const Judgement &judgement) {
    const Clause &clause = *judgement.clause;
    if (judgement.verdict == Verdict::kNotJudged) {
        out << "not judged: " << clause.id << " (" << Plain(judgement.found) << ")\n";
        return;
    }
    out << Word(judgement.verdict) << ": " << clause.where << " [" << clause.id << "]\n"
        << "    rule:  " << clause.rule << " (docs/" << clause.page << ")\n";
    if (!judgement.found.empty()) {
        out << "    found: " << Plain(judgement.found) << "\n";
    }
}

void Text(Json &writer, const char *name, const std::string &value) {
    writer.Key(name);
    writer.String(value.c_str());
}

void WriteJudgement(Json &writer, const Judgement &judgement) {
    writer.StartObject();
    Text(writer, "clause", judgement.clause->id);
    Text(writer, "where", judgement.clause->where);
    Text(writer, "rule", judgement.clause->rule);
    Text(writer, "page", judgement.clause->page);
    Text(writer, "verdict", Word(judgement.verdict));
    Text(writer, "found", Plain(judgement.found));
    writer.EndObject();
}

void WriteRun(Json &writer, const Judgements &run) {
    writer.StartObject();
    Text(writer, "title", run.Title());
    writer.Key("clauses");
    writer.StartArray();
    for (const Judgement &judgement : run.All()) {
        WriteJudgement(writer, judgement);
    }
    writer.EndArray();
    writer.EndObject();
}

void Attribute(xmlNode *node, const char *name, const std::string &value) {
    xmlNewProp(node, ToXml(name), ToXml(value.c_str()));
}

xmlNode *Child(xmlNode *parent, const char *name) {
    return xmlNewChild(parent, nullptr, ToXml(name), nullptr);
}

void AddCase(xmlNode *suite, const std::string &title, const Judgement &judgement) {
    xmlNode *one = Child(suite, "testcase");
    Attribute(one, "classname", title);
    Attribute(one, "name", judgement.clause->id);
    if (judgement.verdict == Verdict::kKept) {
        return;
    }
    xmlNode *why = Child(one, judgement.verdict == Verdict::kBroken ? "failure" : "skipped");
    Attribute(why, "message",
              std::string(judgement.clause->where) + ": " + judgement.clause->rule + "; " +
                  Plain(judgement.found));
}

void AddSuite(xmlNode *root, const Judgements &run) {
    xmlNode *suite = Child(root, "testsuite");
    Attribute(suite, "name", Plain(run.Title()));
    Attribute(suite, "tests", std::to_string(run.All().size()));
    Attribute(suite, "failures", std::to_string(run.Count(Verdict::kBroken)));
    Attribute(suite, "skipped", std::to_string(run.Count(Verdict::kNotJudged)));
    Attribute(suite, "errors", "0");
    for (const Judgement &judgement : run.All()) {
        AddCase(suite, Plain(run.Title()), judgement);
    }
}

}  // namespace

std::size_t Report::Count(Verdict verdict) const {
    std::size_t count = 0;
    for (const Judgements &run : runs) {
        count += run.Count(verdict);
    }
    return count;
}

std::string AsText(const Report &report, bool all) {
    std::ostringstream out;
    for (const Judgements &run : report.runs) {
        out << Plain(run.Title()) << "\n";
        for (const Judgement &judgement : run.All()) {
            if (all || judgement.verdict != Verdict::kKept) {
                WriteJudgement(out, judgement);
            }
        }
    }
    out << Plain(report.subject) << ": " << Counts(report) << "\n";
    return out.str();
}

std::string AsJson(const Report &report) {
    rapidjson::StringBuffer buffer;
    Json writer(buffer);
    writer.StartObject();
    Text(writer, "subject", Plain(report.subject));
    for (const Verdict verdict : {Verdict::kKept, Verdict::kBroken, Verdict::kNotJudged}) {
        writer.Key(Word(verdict));
        writer.Uint64(report.Count(verdict));
    }
    writer.Key("runs");
    writer.StartArray();
    for (const Judgements &run : report.runs) {
        WriteRun(writer, run);
    }
    writer.EndArray();
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

std::string AsJUnit(const Report &report) {
    const XmlDocument document(xmlNewDoc(ToXml("1.0")));
    xmlNode *root = xmlNewNode(nullptr, ToXml("testsuites"));
    xmlDocSetRootElement(document.get(), root);
    Attribute(root, "name", "corvenna-conform " + Plain(report.subject));
    for (const Judgements &run : report.runs) {
        AddSuite(root, run);
    }
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpFormatMemoryEnc(document.get(), &text, &length, "UTF-8", 1);
    const XmlText owner(text);
    return text == nullptr ? "" : FromXml(text);
}

}  // namespace corvenna::conform
