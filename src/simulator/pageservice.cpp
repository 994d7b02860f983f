#include "simulator/pageservice.h"

#include "simulator/sensorpages.h"
#include "simulator/simulatedsensor.h"

namespace {

using Answer = PageReply (*)(SimulatedSensor &, const PageRequest &);

const char jsonType[] = "application/json";
const char textType[] = "text/plain";
const char binaryType[] = "application/octet-stream";
const char clearKey[] = "clear_index";

PageReply notFound()
{
    return {404, "text/html", sensorpages::notFound()};
}

/// -1 when the key is absent or not a whole number.
qint64 number(const PageRequest &request, const char *key, qint64 absent = -1)
{
    const auto found = request.query.constFind(key);
    if (found == request.query.constEnd())
        return absent;
    bool ok = false;
    const qint64 value = found->toLongLong(&ok);
    return ok ? value : -1;
}

PageReply acknowledged(bool taken, const char *reason)
{
    if (taken)
        return {200, jsonType, sensorpages::acknowledgement()};
    return {400, jsonType, sensorpages::refusal(reason)};
}

PageReply answerInfo(SimulatedSensor &sensor, const PageRequest &)
{
    return {200, textType, sensor.infoPage()};
}

PageReply answerFrame(SimulatedSensor &sensor, const PageRequest &request)
{
    if (request.query.contains(clearKey))
        sensor.clearUpTo(number(request, clearKey));
    return {200, jsonType, sensor.framePage()};
}

PageReply answerStatus(SimulatedSensor &sensor, const PageRequest &)
{
    return {200, jsonType, sensor.statusPage()};
}

PageReply answerCurrentData(SimulatedSensor &sensor, const PageRequest &request)
{
    if (sensor.generation() == sensorpages::Generation::First)
        return notFound();
    return {200, textType, sensor.samplePage(number(request, "index", 0), number(request, "limit", 0))};
}

PageReply answerOldData(SimulatedSensor &sensor, const PageRequest &request)
{
    if (sensor.generation() != sensorpages::Generation::First)
        return notFound();
    return {200, textType, sensor.samplePage(number(request, "index", 0), number(request, "limit", 0))};
}

PageReply answerEvents(SimulatedSensor &sensor, const PageRequest &request)
{
    const bool binary = request.query.value("binary") == "1";
    return {200, binary ? binaryType : textType, sensor.eventPage(number(request, "index"), binary)};
}

PageReply answerConfig(SimulatedSensor &sensor, const PageRequest &request)
{
    if (request.isPost())
        return acknowledged(sensor.takeConfiguration(request.body), "not a configuration");
    return {200, jsonType, sensor.configurationPage()};
}

PageReply answerRecipe(SimulatedSensor &sensor, const PageRequest &request)
{
    if (request.isPost())
        return acknowledged(sensor.takeRecipe(request.body), "not a recipe");
    return {200, jsonType, sensor.recipePage()};
}

PageReply answerTrigger(SimulatedSensor &sensor, const PageRequest &request)
{
    const bool known = request.isPost() && request.body == "{\r\n\"trigger\":\"SNAP\"\r\n}";
    if (known)
        sensor.takeSnapshot();
    return acknowledged(known, "not a trigger");
}

struct Page
{
    PageKind kind;
    const char *path;
    const char *name; // in a fault plan; of the pages of one kind the first one's counts
    Answer answer;
};

const Page pages[] = {
    {PageKind::Info, "/service/info.cgi", "info", answerInfo},
    {PageKind::Frame, "/service/frame.cgi", "frame", answerFrame},
    {PageKind::Clear, nullptr, "clear", answerFrame},
    {PageKind::Status, "/service/status.cgi", "status", answerStatus},
    {PageKind::Data, "/service/pulsedata.cgi", "data", answerCurrentData},
    {PageKind::Data, "/service/databis.cgi", "data", answerOldData},
    {PageKind::Events, "/service/events.cgi", "events", answerEvents},
    {PageKind::Config, "/service/config.cgi", "config", answerConfig},
    {PageKind::Recipe, "/service/recipe.cgi", "recipe", answerRecipe},
    {PageKind::Trigger, "/service/eventtrigger.cgi", "trigger", answerTrigger},
};

const Page *pageAt(const QByteArray &path)
{
    for (const Page &page : pages) {
        if (page.path && path == page.path)
            return &page;
    }
    return nullptr;
}

} // namespace

PageKind pageKind(const QByteArray &path, bool clears)
{
    const Page *page = pageAt(path);
    if (!page)
        return PageKind::Unknown;
    return page->kind == PageKind::Frame && clears ? PageKind::Clear : page->kind;
}

QByteArray pageName(PageKind kind)
{
    for (const Page &page : pages) {
        if (page.kind == kind)
            return page.name;
    }
    return "unknown";
}

PageKind pageFromName(const QByteArray &name)
{
    for (const Page &page : pages) {
        if (name == page.name)
            return page.kind;
    }
    return PageKind::Unknown;
}

PageReply answerPage(SimulatedSensor &sensor, const PageRequest &request)
{
    const Page *page = pageAt(request.path);
    return page ? page->answer(sensor, request) : notFound();
}
