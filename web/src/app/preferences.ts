/** What the user likes, kept by the browser between visits. */

export type TimeUnit = "frames" | "seconds" | "timecode";

export interface PreferenceValues {
  timeUnit: TimeUnit;
  theme: "system" | "light" | "dark";
  snapToFrames: boolean;
  snapToValues: boolean;
  /** Widths and heights of the panels, by name, in CSS pixels. */
  sizes: Record<string, number>;
}

const kStorageKey = "yfcurve-editor";
const kDefaults: PreferenceValues = {
  timeUnit: "frames",
  theme: "system",
  snapToFrames: true,
  snapToValues: false,
  sizes: {},
};

/** Preferences that are read at once and written at every change. Without storage they last for the visit. */
export class Preferences {
  private values: PreferenceValues;

  constructor(private readonly changed: (name: keyof PreferenceValues) => void) {
    this.values = { ...kDefaults, ...Preferences.load() };
  }

  get<Name extends keyof PreferenceValues>(name: Name): PreferenceValues[Name] {
    return this.values[name];
  }

  set<Name extends keyof PreferenceValues>(name: Name, value: PreferenceValues[Name]): void {
    this.values = { ...this.values, [name]: value };
    try {
      localStorage.setItem(kStorageKey, JSON.stringify(this.values));
    } catch {
      // A browser without storage keeps the preference until the page is closed.
    }
    this.changed(name);
  }

  private static load(): Partial<PreferenceValues> {
    try {
      const stored: unknown = JSON.parse(localStorage.getItem(kStorageKey) ?? "{}");
      return typeof stored === "object" && stored !== null ? stored : {};
    } catch {
      return {};
    }
  }
}
