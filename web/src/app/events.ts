/** Listens to an event until the function that is returned is called. */
export type Listen<Events> = <Name extends keyof Events>(name: Name, listener: (detail: Events[Name]) => void) => () => void;

type AnyListener = (detail: never) => void;

/** A list of listeners for each of a few events. */
export class Emitter<Events> {
  private readonly listeners = new Map<keyof Events, Set<AnyListener>>();

  readonly on: Listen<Events> = (name, listener) => {
    const known = this.listeners.get(name) ?? new Set<AnyListener>();
    this.listeners.set(name, known);
    known.add(listener as AnyListener);
    return () => known.delete(listener as AnyListener);
  };

  emit<Name extends keyof Events>(name: Name, detail: Events[Name]): void {
    for (const listener of [...(this.listeners.get(name) ?? [])]) {
      (listener as (detail: Events[Name]) => void)(detail);
    }
  }
}
