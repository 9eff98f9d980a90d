import type { EditorDocument, Version } from "../engine/engine";
import type { ContactMark } from "./contacts";

const kKnown = new WeakMap<EditorDocument, { revision: number; marks: ContactMark[] }>();

/** Where and when feet stand. Takes a while for long clips; of the current motion it is kept until that changes. */
export function contactMarks(document: EditorDocument, version: Version): ContactMark[] {
  if (version !== "current") return findMarks(document, version);
  const known = kKnown.get(document);
  if (known?.revision === document.revision) return known.marks;
  const marks = findMarks(document, version);
  kKnown.set(document, { revision: document.revision, marks });
  return marks;
}

function findMarks(document: EditorDocument, version: Version): ContactMark[] {
  return document.footContacts(version).flatMap(({ joint, contacts }) => {
    const starts = Float64Array.from(contacts, (contact) => contact.start);
    const places = document.trail(joint, starts, version);
    return contacts.map(({ start, stop }, i) => ({
      joint,
      start,
      stop,
      place: [places[3 * i]!, places[3 * i + 1]!, places[3 * i + 2]!] as const,
    }));
  });
}
