#pragma once

class CInstrumentLine;
class IMinolta;

// A new driver of the family with this type number (a row of the family table), talking on `line`;
// or null, logged, for a number the table does not hold: an unknown type never quietly becomes some
// family's driver.
IMinolta* CreateFamilyDriver(int type, CInstrumentLine& line);
