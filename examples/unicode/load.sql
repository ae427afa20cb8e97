-- The tables of the Unicode Character Database, and their rows: to be run where the CSV files are.
BEGIN;

CREATE TABLE block (name text PRIMARY KEY, first bigint NOT NULL, last bigint NOT NULL);
CREATE TABLE script (name text PRIMARY KEY);
CREATE TABLE script_range (
  script script NOT NULL REFERENCES script(name),
  first bigint NOT NULL,
  last bigint NOT NULL
);
CREATE TABLE category (code text PRIMARY KEY, name text NOT NULL);

CREATE TABLE code_point (
  code bigint PRIMARY KEY,
  character text,           -- NULL where there is no text: U+0000 and the surrogates.
  name text NOT NULL,
  category category NOT NULL REFERENCES category(code),
  combining_class bigint NOT NULL,
  bidi_class text NOT NULL,
  decomposition text,
  numeric_value numeric,    -- NULL where six places do not hold the number; the text is always there.
  numeric_text text,
  mirrored boolean NOT NULL,
  old_name text,
  comment text,
  block block REFERENCES block(name),
  script script REFERENCES script(name),
  -- The partners of letters that have them, forward and backward in the same table.
  uppercase code_point REFERENCES code_point(code),
  lowercase code_point REFERENCES code_point(code),
  titlecase code_point REFERENCES code_point(code)
);
-- Numbers are code points with more to tell.
CREATE TABLE number (decimal_digit bigint, digit bigint) INHERITS (code_point);

CREATE INDEX block_first ON block (first);
CREATE INDEX code_point_name ON code_point (name);
CREATE INDEX code_point_category ON code_point (category, code DESC);
CREATE INDEX code_point_numeric_value ON code_point (numeric_value, code);

COPY block FROM 'block.csv' (FORMAT csv, HEADER);
COPY script FROM 'script.csv' (FORMAT csv, HEADER);
COPY script_range FROM 'script_range.csv' (FORMAT csv, HEADER);
COPY category FROM 'category.csv' (FORMAT csv, HEADER);
COPY code_point FROM 'code_point.csv' (FORMAT csv, HEADER);
COPY number FROM 'number.csv' (FORMAT csv, HEADER);

COMMIT;
