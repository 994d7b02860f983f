#pragma once

class AppSettings;
class Prompts;
class Recorder;
class Session;
class Theme;
class eventFilter;
class eventTypeNames;

/// What the displays of one session are made of. Nothing is owned here; all of it outlives the session form.
struct DisplayContext
{
    Session &session;
    Recorder &recorder;
    Prompts &prompts;
    AppSettings &settings;
    Theme &theme;
    eventFilter &filter;
    eventTypeNames &dictionary;
};
