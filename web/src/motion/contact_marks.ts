import type { EditorDocument } from "../engine/engine";
import type { ContactMark } from "./contacts";

const kKnown = new WeakMap<EditorDocument, { revision: number; marks: ContactMark[] }>();

/** Where and when feet stand. Takes a while for long clips; what is known is kept until the document changes. */
export function contactMarks(document: EditorDocument): ContactMark[] {
  const known = kKnown.get(document);
  if (known?.revision === document.revision) return known.marks;
  const marks = findMarks(document);
  kKnown.set(document, { revision: document.revision, marks });
  return marks;
}

function findMarks(document: EditorDocument): ContactMark[] {
  return document.footContacts().flatMap(({ joint, contacts }) => {
    const starts = Float64Array.from(contacts, (contact) => contact.start);
    const places = document.trail(joint, starts);
    return contacts.map(({ start, stop }, i) => ({
      joint,
      start,
      stop,
      place: [places[3 * i]!, places[3 * i + 1]!, places[3 * i + 2]!] as const,
    }));
  });
}

/** Does work a little after the last of several calls. */
export function afterRest(milliseconds: number, work: () => void): () => void {
  let timer = 0;
  return () => {
    clearTimeout(timer);
    timer = window.setTimeout(work, milliseconds);
  };
}
