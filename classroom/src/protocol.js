// What every presenter and device says of itself.

export const PROTOCOL_VERSION = '3.0.0';
export const SOURCE_SYSTEM = 'Corvel';
