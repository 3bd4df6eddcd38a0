#pragma once

#include <QString>

// What a session needs to know to find its instrument: where the ports come from (the built-in
// simulator and how it behaves, a catalogue file, one named port, or the system's list) and what
// to ask of the instrument.
struct SessionSettings {
    QString simulate;           // family name; empty: a real instrument
    QString simValues;          // "Lv,x,y[,Tcp]" for the simulator; empty: its default reading
    QString simFault;           // fault mode name for the simulator; empty: none
    QString simLine;            // line model of the simulator; empty: the realistic one
    QString simDisplay;         // the virtual display the simulator measures ("srgb-ideal", "peak=250,...")
    QString port;               // detection tries this port only
    QString catalogue;          // file of "NAME<TAB>DESCRIPTION" lines replacing the system's port list
    QString family;             // detection tries only this family (a name of the family table); empty: all
    bool remember = true;       // hint detection with the last connection, and keep this one for the next
    QString lastConnectionFile; // where that is kept; empty: the user's cache folder
    bool trace = false;         // report the simulator's serial traffic to the trace log
    bool readTcp = false;       // read the colour temperature where the instrument gives it
};
